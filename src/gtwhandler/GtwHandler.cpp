#include "gtwhandler/GtwHandler.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>

#include "gtwhandler/GtwHandlerSignals.h"

namespace gtwhandlernamespace {

using gtwbasenamespace::GtwBaseClass;
using gtwlistelementnamespace::GtwListElement;

namespace {

constexpr int kBacklog = 64;
constexpr int kNamedEndpointPort = -1;
constexpr int kAnyPort = 0;
constexpr std::size_t kErrorBytes = 256;
// One select of a step; a longer step has several.
constexpr std::chrono::microseconds kLongestSelect = std::chrono::hours(1);

}  // namespace

GtwHandler::GtwHandler(const char* name, int /*argc*/, char** /*argv*/)
    : local_port_(kNamedEndpointPort) {
    if (name != nullptr) {
        endpoint_name_ = name;
    }
}

GtwHandler::GtwHandler(int port, int /*argc*/, char** /*argv*/) : local_port_(port) {}

GtwHandler::GtwHandler(int /*argc*/, char** /*argv*/) : local_port_(kAnyPort) {}

int GtwHandler::initialize() {
    prepare_signal_log();
    if (!installSignalHandlers()) {
        return -1;
    }
    if (!openCommandsEndpoint()) {
        setLastError("GtwHandler::initialize error cannot initialize commands endpoint");
        return -1;
    }
    refreshMaxFd();
    return 0;
}

bool GtwHandler::installSignalHandlers() {
    for (const SignalAction& entry : kSignalActions) {
        struct sigaction action {};
        action.sa_handler = entry.handler;
        action.sa_flags = entry.flags;
        if (sigemptyset(&action.sa_mask) != 0) {
            setLastError("GtwHandler::initialize error sigemptyset %s '%s'", entry.action_name,
                         strerror(errno));
            return false;
        }
        if (sigaction(entry.number, &action, nullptr) != 0) {
            setLastError("GtwHandler::initialize error cannot initialize %s handler", entry.name);
            return false;
        }
    }
    return true;
}

bool GtwHandler::openCommandsEndpoint() {
    listener_.reset();
    if (endpoint_name_) {
        listener_.reset(make_local_socket(endpoint_name_->c_str(), kBacklog));
    } else if (local_port_ == kAnyPort) {
        listener_.reset(make_internet_socket_randomport(&local_port_, kBacklog));
    } else if (local_port_ > kAnyPort) {
        listener_.reset(make_internet_socket(local_port_, kBacklog));
    }
    if (listener_.get() >= FD_SETSIZE) {
        error("GtwHandler::initialize the commands endpoint got descriptor %d, select takes %d",
              listener_.get(), FD_SETSIZE);
        listener_.reset();
    }
    // A connection may be closed before it is accepted: the accept must not wait.
    if (listener_ && fcntl(listener_.get(), F_SETFL, O_NONBLOCK) != 0) {
        listener_.reset();
    }
    return static_cast<bool>(listener_);
}

int GtwHandler::run() {
    const Clock::time_point step_end = Clock::now() + select_timeout_;
    while (true) {
        Step step = waitForInput(step_end);
        if (step.result == kFailed) {
            setLastError("GtwHandler::run select failed with error '%s'", strerror(errno));
            return kFailed;
        }
        if (serveInput(step)) {
            return step.result;
        }
        if (Clock::now() >= step_end) {
            last_event_kind_ = EventKind::select_timeout;
            return 0;
        }
    }
}

// Waits until a descriptor is ready, the step ends or a request times out.
GtwHandler::Step GtwHandler::waitForInput(Clock::time_point step_end) const {
    const Clock::time_point now = Clock::now();
    Clock::time_point end = step_end;
    int highest = highest_fd_;
    Step step{read_set_, 0};
    if (listener_ && now < accept_pause_end_) {
        FD_CLR(listener_.get(), &step.ready);
        end = std::min(end, accept_pause_end_);
    }
    for (const PendingRequest& request : pending_) {
        FD_SET(request.fd(), &step.ready);
        highest = std::max(highest, request.fd());
        end = std::min(end, request.deadline());
    }
    const auto rest = std::clamp(std::chrono::ceil<std::chrono::microseconds>(end - now),
                                 std::chrono::microseconds(0), kLongestSelect);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(rest);
    timeval timeout{};
    timeout.tv_sec = static_cast<decltype(timeout.tv_sec)>(seconds.count());
    timeout.tv_usec = static_cast<decltype(timeout.tv_usec)>((rest - seconds).count());
    step.result = select(highest + 1, &step.ready, nullptr, nullptr, &timeout);
    return step;
}

// Requests that are arriving come before new ones, in the order of their connections; gateways
// wait for both.
bool GtwHandler::serveInput(Step& step) {
    if (advanceRequests(step)) {
        return true;
    }
    if (listener_ && FD_ISSET(listener_.get(), &step.ready)) {
        return acceptRequest(step);
    }
    return serveGateway(step);
}

bool GtwHandler::serveGateway(Step& step) {
    bool is_served = false;
    for (const GtwListElement& element : gateways_) {
        const int fd = element.getFd();
        if (fd <= 0 || !FD_ISSET(fd, &step.ready)) {
            continue;
        }
        last_event_kind_ = EventKind::gateway_data;
        is_served = true;
        if (GtwBaseClass* const gateway = element.getHandler()) {
            step.result = gateway->didReceiveCustomGatewayData(this, fd);
            break;
        }
    }
    return is_served;
}

int GtwHandler::addGateway(int fd, GtwBaseClass* gateway) {
    if (gateways_.size() == kMaxGateways || fd >= FD_SETSIZE) {
        return GATEWAY_LIST_FULL;
    }
    gateways_.emplace_back(fd, gateway);
    if (fd > 0) {
        watch(fd);
    }
    return GATEWAY_LIST_OK;
}

int GtwHandler::addGateway(GtwBaseClass* gateway) {
    return addGateway(-1, gateway);
}

int GtwHandler::removeGateway(int fd) {
    const auto found = std::find_if(gateways_.begin(), gateways_.end(),
                                    [fd](const auto& element) { return element.getFd() == fd; });
    return removeGatewayAtIndex(static_cast<int>(found - gateways_.begin()));
}

int GtwHandler::removeGateway(GtwBaseClass* gateway) {
    const auto found =
        std::find_if(gateways_.begin(), gateways_.end(),
                     [gateway](const auto& element) { return element.getHandler() == gateway; });
    return removeGatewayAtIndex(static_cast<int>(found - gateways_.begin()));
}

int GtwHandler::removeGatewayAtIndex(int index) {
    if (index < 1 || static_cast<std::size_t>(index) >= gateways_.size()) {
        return GATEWAY_LIST_NOT_FOUND;
    }
    gateways_.erase(gateways_.begin() + index);
    refreshMaxFd();
    return GATEWAY_LIST_OK;
}

void GtwHandler::refreshMaxFd() {
    FD_ZERO(&read_set_);
    highest_fd_ = -1;
    if (listener_) {
        watch(listener_.get());
    }
    for (const GtwListElement& element : gateways_) {
        if (element.getFd() > 0) {
            watch(element.getFd());
        }
    }
}

int GtwHandler::cleanup() {
    refreshMaxFd();
    return 0;
}

void GtwHandler::watch(int fd) {
    FD_SET(fd, &read_set_);
    highest_fd_ = std::max(highest_fd_, fd);
}

int GtwHandler::sendStatusToCore(int status) const {
    const int printed =
        status >= 0 ? std::printf("%d,%d\n", 0, local_port_) : std::printf("%d,%d\n", -1, -1);
    return printed >= 0 && std::fflush(stdout) == 0 ? 0 : -1;
}

void GtwHandler::setLastError(const char* format, ...) {
    if (format == nullptr) {
        return;
    }
    xstring text(static_cast<char*>(xmalloc(kErrorBytes)));
    if (text == nullptr) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.get(), kErrorBytes, format, arguments);
    va_end(arguments);
    last_error_ = std::move(text);
    logged_info("%s", escape_control_characters(last_error_.get()).c_str());
}

void GtwHandler::setSelectTimeout(unsigned seconds, unsigned microseconds) {
    select_timeout_ = std::chrono::seconds(seconds) + std::chrono::microseconds(microseconds);
}

}  // namespace gtwhandlernamespace
