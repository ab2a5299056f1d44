// The event loop's side towards the core: it accepts connections, collects several requests at the
// same time, answers them, and has the texts for what cannot be read.
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

constexpr const char* kQuit = "QUIT";
constexpr int kStatusDone = 0;
constexpr int kStatusUnsupportedFunction = 8;
constexpr int kMaxRequestParameters = 6;
// A value has a slot of 512 bytes, with its terminator.
constexpr int kMaxValueBytes = 511;
constexpr fsmcore_format::Limits kLimits{kMaxRequestParameters, kMaxValueBytes};

// What the log says of a request that cannot be read. NNN is the parameter's index.
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

// Failures that one connection less would prevent.
bool is_shortage(int reason) {
    return reason == EMFILE || reason == ENFILE || reason == ENOBUFS || reason == ENOMEM;
}

// Requests that are arriving leave a few descriptors to the threads that serve the complete ones:
// for the bridge, the core and the resolver. All stay below the limit of select.
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

bool GtwHandler::advanceRequests(Step& step) {
    const Clock::time_point now = Clock::now();
    for (std::size_t i = 0; i < pending_.size(); ++i) {
        const bool is_due =
            FD_ISSET(pending_[i].fd(), &step.ready) || now >= pending_[i].deadline();
        if (is_due && advanceRequest(i, step)) {
            return true;
        }
    }
    return false;
}

bool GtwHandler::advanceRequest(std::size_t index, Step& step) {
    PendingRequest& request = pending_[index];
    switch (request.advance()) {
        case PendingRequest::Progress::arriving:
            if (Clock::now() < request.deadline()) {
                return false;
            }
            recordReceiveFailure(request.has_received(), strerror(ETIMEDOUT));
            break;
        case PendingRequest::Progress::complete:
            handleRequest(takeRequest(index), step);
            return true;
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
    step.result = kFailed;
    return true;
}

bool GtwHandler::acceptRequest(Step& step) {
    FileDescriptor connection = acceptConnection();
    if (!connection) {
        return acceptFailed(errno, step);
    }
    pending_.emplace_back(std::move(connection),
                          Clock::now() + std::chrono::seconds(kRequestDeadlineSeconds));
    // A request that arrives whole needs no place.
    if (advanceRequest(pending_.size() - 1, step)) {
        return true;
    }
    if (placeNewest()) {
        return false;
    }
    step.result = kFailed;
    return true;
}

// Without a free descriptor the oldest request is dropped for its own.
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

bool GtwHandler::acceptFailed(int reason, Step& step) {
    // The connection was closed again or failed before it was accepted.
    if (reason == EAGAIN || reason == EWOULDBLOCK || reason == ECONNABORTED || reason == EINTR ||
        reason == EPROTO) {
        return false;
    }
    // The connection stays in the queue and the endpoint ready: without a pause the loop would
    // spin.
    accept_pause_end_ = Clock::now() + std::chrono::milliseconds(kAcceptPauseMilliseconds);
    recordReceiveFailure(false, strerror(reason));
    step.result = kFailed;
    return true;
}

// Finds a place for the request that has just begun to arrive, if necessary that of the oldest
// ones. True if there was a free one.
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

void GtwHandler::handleRequest(PendingRequest request, Step& step) {
    fsmcore_format::Request message;
    const fsmcore_format::ParseResult result = parse_request(request.body(), kLimits, message);
    if (!result) {
        recordFault(result, message.function);
        request.abandon();
        step.result = kFailed;
        return;
    }
    if (is_same_name(message.function, FSMCORE_RUN_ON_ELEMENT)) {
        runOnElement(request, message, step);
        return;
    }
    setLastError("GtwHandler::run request '%s' is not supported, continuing for the next request",
                 message.function.c_str());
    answer(request, kStatusUnsupportedFunction);
    last_event_kind_ = EventKind::core_request;
}

void GtwHandler::runOnElement(PendingRequest& request, fsmcore_format::Request& message,
                              Step& step) {
    std::vector<std::string>& texts = message.parameters;
    texts.resize(kMaxRequestParameters);  // a missing parameter is an empty text
    std::int32_t object_id = 0;
    if (parse_int32(texts[0].c_str(), 10, &object_id) != PARSE_NUMBER_OK) {
        setLastError(
            "GtwHandler::run ObjectID in first parameter <%s> is not a valid number, continuing "
            "for the next request",
            texts[0].c_str());
        request.abandon();
        step.result = kFailed;
        return;
    }
    CallFromCoreParameters parameters(object_id, texts[1].c_str(), texts[2].c_str(),
                                      texts[3].c_str(), texts[4].c_str(), texts[5].c_str());
    last_event_kind_ = EventKind::core_request;
    // The answer to QUIT waits until the gateways have seen it; any other is sent at once.
    const bool is_quit = parameters.action == kQuit;
    if (!is_quit) {
        answer(request, kStatusDone);
    }
    callGateways(parameters, step);
    if (is_quit) {
        answer(request, kStatusDone);
    }
}

void GtwHandler::callGateways(CallFromCoreParameters& parameters, Step& step) {
    const bool is_quit = parameters.action == kQuit;
    // By index: a callback may add or remove gateways.
    for (std::size_t i = 0; i < gateways_.size(); ++i) {
        if (GtwBaseClass* const gateway = gateways_[i].getHandler()) {
            step.result = is_quit ? gateway->willTerminate(this, &parameters)
                                  : gateway->didReceiveCallFromCore(this, &parameters);
        }
    }
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
                "%srequest tag '%s' for request '%s' continuing for the next request",
                offending, text.gap, tag.c_str(), function.c_str());
        }
    }
}

}  // namespace gtwhandlernamespace
