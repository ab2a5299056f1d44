// The side of the event loop that meets the core: accepting connections, collecting requests side
// by side, answering, and the texts for what cannot be read.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <strings.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>

#include "gtwhandler/GtwHandler.h"
#include "libcbase/utility.h"

namespace gtwhandlernamespace {

using callfromcoreparametersnamespace::CallFromCoreParameters;
using fsmcore_format::Fault;
using gtwbasenamespace::GtwBaseClass;

namespace {

constexpr const char* kRunOnElement = "SERVICE_RUNONELEMENT";
constexpr const char* kQuit = "QUIT";
constexpr int kStatusDone = 0;
constexpr int kStatusUnsupportedFunction = 8;
constexpr int kMaxRequestParameters = 6;
// A value has a slot of 512 bytes, its end included.
constexpr int kMaxValueBytes = 511;
constexpr fsmcore_format::Limits kLimits{kMaxRequestParameters, kMaxValueBytes};

// What is said of a request that cannot be read. NNN stands for the parameter's index.
struct FaultText {
    Fault fault;
    const char* subject;  // of what is not a number, null for a missing line
    const char* gap;      // one text has two blanks
    const char* tag;
};
constexpr FaultText kFaultTexts[] = {
    {Fault::count_tag, nullptr, "", "Parameter Count: "},
    {Fault::count_number, "number of parameters", "", "Parameter Count: "},
    {Fault::length_tag, nullptr, "", "ParamNNN Length: "},
    {Fault::length_number, "parameter length", "", "ParamNNN Length: "},
    {Fault::value_tag, nullptr, " ", "ParamNNN: "},
    {Fault::value_mismatch, nullptr, "", "ParamNNN: "},
    {Fault::waittime_tag, nullptr, "", "Waittime: "},
    {Fault::waittime_number, "waittime parameter", "", "Waittime: "},
    {Fault::trailing, nullptr, "", "\\n"},
};

std::string numbered(std::string tag, int parameter) {
    const std::size_t at = tag.find("NNN");
    if (at != std::string::npos) {
        char digits[16];
        std::snprintf(digits, sizeof(digits), "%03d", parameter);
        tag.replace(at, 3, digits);
    }
    return tag;
}

bool is_same_name(const std::string& name, const char* other) {
    return name.size() == std::strlen(other) && strcasecmp(name.c_str(), other) == 0;
}

// What a connection fewer would remedy.
bool is_shortage(int reason) {
    return reason == EMFILE || reason == ENFILE || reason == ENOBUFS || reason == ENOMEM;
}

// Requests that are awaited leave a few descriptors to the threads that serve the complete ones:
// for the bridge, the core and the resolver. None reaches what select cannot watch.
int end_of_roomy_descriptors() {
    constexpr rlim_t kSpareDescriptors = 4;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur > FD_SETSIZE + kSpareDescriptors) {
        return FD_SETSIZE;
    }
    return static_cast<int>(limit.rlim_cur) - static_cast<int>(kSpareDescriptors);
}

// Bytes left unread would make the close a reset, which may overtake the answer.
void discard_rest(int fd) {
    char chunk[PendingRequest::kMaxRequestBytes];
    static_cast<void>(recv(fd, chunk, sizeof(chunk), MSG_DONTWAIT));
}

// Answers without parameters, in the plain form, and closes.
void answer(PendingRequest& request, int status) {
    FileDescriptor connection = request.release_connection();
    if (fsmcore_response(connection.get(), status, 0, nullptr) != FSMCORE_OK) {
        connection.release();  // closed by that call
        return;
    }
    discard_rest(connection.get());
    shutdown(connection.get(), SHUT_RDWR);
}

}  // namespace

std::optional<int> GtwHandler::advanceRequests(const fd_set& ready, int ready_count) {
    const Clock::time_point now = Clock::now();
    for (std::size_t i = 0; i < pending_.size(); ++i) {
        if (!FD_ISSET(pending_[i].fd(), &ready) && now < pending_[i].deadline()) {
            continue;
        }
        if (const std::optional<int> result = advanceRequest(i, ready_count)) {
            return result;
        }
    }
    return std::nullopt;
}

std::optional<int> GtwHandler::advanceRequest(std::size_t index, int ready_count) {
    PendingRequest& request = pending_[index];
    switch (request.advance()) {
        case PendingRequest::Progress::arriving:
            if (Clock::now() < request.deadline()) {
                return std::nullopt;
            }
            recordReceiveFailure(request.has_received(), strerror(ETIMEDOUT));
            break;
        case PendingRequest::Progress::complete:
            return handleRequest(takeRequest(index), ready_count);
        case PendingRequest::Progress::receive_failed:
            recordReceiveFailure(request.has_received(), request.problem().c_str());
            break;
        case PendingRequest::Progress::bad_length:
            setLastError(
                "GtwHandler::run length of request after 'LengthRequestIs: ' request statement is "
                "not a valid number '%s', continuing for the next request",
                request.problem().c_str());
            break;
    }
    takeRequest(index).abandon();
    return -1;
}

std::optional<int> GtwHandler::acceptRequest(int ready_count) {
    FileDescriptor connection = acceptConnection();
    if (!connection) {
        return acceptFailed(errno);
    }
    pending_.emplace_back(std::move(connection),
                          Clock::now() + std::chrono::seconds(kRequestDeadlineSeconds));
    const std::optional<int> result = advanceRequest(pending_.size() - 1, ready_count);
    if (result) {
        return result;  // a request that arrives whole needs no place
    }
    return placeNewest() ? std::nullopt : std::make_optional(-1);
}

// A connection that cannot be accepted for want of descriptors gets that of the oldest request.
FileDescriptor GtwHandler::acceptConnection() {
    while (true) {
        FileDescriptor connection(
            accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (connection || !is_shortage(errno) || pending_.empty()) {
            return connection;
        }
        dropOldestRequest();
    }
}

std::optional<int> GtwHandler::acceptFailed(int reason) {
    // The connection is gone again, or was broken before it was ours.
    if (reason == EAGAIN || reason == EWOULDBLOCK || reason == ECONNABORTED || reason == EINTR ||
        reason == EPROTO) {
        return std::nullopt;
    }
    // The connection stays in the queue and the endpoint ready: without a pause the loop would
    // spin.
    accept_pause_end_ = Clock::now() + std::chrono::milliseconds(kAcceptPauseMilliseconds);
    recordReceiveFailure(false, strerror(reason));
    return -1;
}

// Finds a place for the request that has just begun to arrive, at the cost of the oldest ones. True
// when there was one free.
bool GtwHandler::placeNewest() {
    const int roomy_end = end_of_roomy_descriptors();
    bool has_displaced = false;
    while (pending_.size() > 1 &&
           (pending_.size() > kMaxPendingRequests || pending_.back().fd() >= roomy_end)) {
        dropOldestRequest();
        pending_.back().lower_descriptor();
        has_displaced = true;
    }
    if (pending_.back().fd() >= FD_SETSIZE) {
        takeRequest(pending_.size() - 1).abandon();  // select cannot watch it
        recordReceiveFailure(false, strerror(EMFILE));
        return false;
    }
    return !has_displaced;
}

PendingRequest GtwHandler::takeRequest(std::size_t index) {
    PendingRequest request = std::move(pending_[index]);
    pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(index));
    return request;
}

void GtwHandler::dropOldestRequest() {
    PendingRequest oldest = takeRequest(0);
    recordReceiveFailure(oldest.has_received(), "displaced by a later connection");
    oldest.abandon();
}

int GtwHandler::handleRequest(PendingRequest request, int ready_count) {
    fsmcore_format::Request message;
    const fsmcore_format::ParseResult result = parse_request(request.body(), kLimits, message);
    if (!result) {
        recordFault(result, message.function);
        request.abandon();
        return -1;
    }
    if (!is_same_name(message.function, kRunOnElement)) {
        setLastError(
            "GtwHandler::run request '%s' is not supported, continuing for the next request",
            message.function.c_str());
        answer(request, kStatusUnsupportedFunction);
        last_event_kind_ = EventKind::core_request;
        return ready_count;
    }
    return runOnElement(request, message, ready_count);
}

int GtwHandler::runOnElement(PendingRequest& request, fsmcore_format::Request& message,
                             int ready_count) {
    std::vector<std::string>& texts = message.parameters;
    texts.resize(kMaxRequestParameters);  // a parameter that is missing is an empty text
    std::int32_t object_id = 0;
    if (parse_int32(texts[0].c_str(), 10, &object_id) != PARSE_NUMBER_OK) {
        setLastError(
            "GtwHandler::run ObjectID in first parameter <%s> is not a valid number, continuing "
            "for "
            "the next request",
            texts[0].c_str());
        request.abandon();
        return -1;
    }
    CallFromCoreParameters parameters(object_id, texts[1].c_str(), texts[2].c_str(),
                                      texts[3].c_str(), texts[4].c_str(), texts[5].c_str());
    last_event_kind_ = EventKind::core_request;
    // Only QUIT makes the core wait until the gateways have seen it.
    if (parameters.action == kQuit) {
        const int result = callGateways(parameters, ready_count);
        answer(request, kStatusDone);
        return result;
    }
    answer(request, kStatusDone);
    return callGateways(parameters, ready_count);
}

int GtwHandler::callGateways(CallFromCoreParameters& parameters, int ready_count) {
    const bool is_quit = parameters.action == kQuit;
    int result = ready_count;
    for (std::size_t i = 0; i < gateway_count_; ++i) {
        GtwBaseClass* const gateway = gateways_[i]->getHandler();
        if (gateway != nullptr) {
            result = is_quit ? gateway->willTerminate(this, &parameters)
                             : gateway->didReceiveCallFromCore(this, &parameters);
        }
    }
    return result;
}

// [1] is the first receive of a request, [2] any later one.
void GtwHandler::recordReceiveFailure(bool has_received, const char* reason) {
    setLastError(
        "GtwHandler::run recv reading request [%d] failed with error '%s', continuing for the next "
        "request",
        has_received ? 2 : 1, reason);
}

void GtwHandler::recordFault(const fsmcore_format::ParseResult& result,
                             const std::string& function) {
    const char* const offending = result.offending.c_str();
    // The collected body begins with its tag; one that has none fails for its length before.
    if (result.fault == Fault::first_tag) {
        setLastError(
            "GtwHandler::run strtok parsing '%s' request tag failed, not a well formed request tag "
            "'Request: ' continuing for the next request",
            offending);
        return;
    }
    for (const FaultText& text : kFaultTexts) {
        if (text.fault != result.fault) {
            continue;
        }
        const std::string tag = numbered(text.tag, result.parameter);
        if (text.subject != nullptr) {
            setLastError(
                "GtwHandler::run %s after '%s' request statement is not a valid number '%s' for "
                "request '%s', continuing for the next request",
                text.subject, tag.c_str(), offending, function.c_str());
        } else {
            setLastError(
                "GtwHandler::run strtok parsing '%s' request tag failed, not a well formed "
                "%srequest "
                "tag '%s' for request '%s' continuing for the next request",
                offending, text.gap, tag.c_str(), function.c_str());
        }
    }
}

}  // namespace gtwhandlernamespace
