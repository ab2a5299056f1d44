#include "libtavcore/core_request.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include <strings.h>

#include "libcbase/FSMCoreutil.h"
#include "libcbase/log.h"
#include "libcbase/memory.h"

namespace libtavcore {
namespace {

constexpr const char* kWaittimeSeconds = "5";
constexpr const char* kNoValue = "NO-VALUE";
constexpr std::size_t kErrorBytes = 1024;
// A value of this size or more is logged; it is cut where the core's own buffer ends.
constexpr int kValueLimitBytes = 511;
constexpr std::size_t kValueCutBytes = 512;

const char* text_or(const char* text, const char* substitute) {
    return text != nullptr ? text : substitute;
}

}  // namespace

core_request::core_request(const char* socket, const char* function)
    : function_(text_or_empty(function)) {
    if (strcasecmp(text_or_empty(socket), FSMCORE_SOCKET) != 0) {
        set_last_error("core_request::core_request error core service socket <%s> unsupported",
                       text_or_empty(socket));
        is_usable_ = false;
    } else if (function == nullptr) {
        set_last_error("core_request::core_request error function is NULL");
        is_usable_ = false;
    }
}

void core_request::set_coreservicerequestparameter(const char* value) {
    if (value != nullptr) {
        request_parameters_[request_count_] = value;
    }
    ++request_count_;
}

int core_request::compose_runonelement(const char* ip, const char* sessionID, const char* objectID,
                                       const char* action, const char* payload,
                                       const char* optionals, const char* hashcode,
                                       const char* caller) {
    function_ = FSMCORE_RUN_ON_ELEMENT;
    // Without these two the later parameters move up: the short form of the core.
    if (ip != nullptr) {
        set_coreservicerequestparameter(ip);
    } else {
        warning("libtavcore->compose_runonelement error: ip parameter is NULL");
    }
    if (sessionID != nullptr) {
        set_coreservicerequestparameter(sessionID);
    } else {
        warning("libtavcore->compose_runonelement error: sessionID parameter is NULL");
    }
    if (objectID == nullptr) {
        error("libtavcore->compose_runonelement error: object ID parameter is NULL");
        return CORE_REQUEST_PARAMETER_MISSING;
    }
    set_coreservicerequestparameter(objectID);
    if (action == nullptr) {
        error("libtavcore->compose_runonelement error: action parameter is NULL");
        return CORE_REQUEST_PARAMETER_MISSING;
    }
    set_coreservicerequestparameter(action);
    set_coreservicerequestparameter(text_or(payload, "NO-PAYLOAD"));
    set_coreservicerequestparameter(text_or(optionals, "NO-OPTIONALS"));
    set_coreservicerequestparameter(text_or(hashcode, "NO-HASHCODE"));
    set_coreservicerequestparameter(text_or(caller, "LIBTAVCORE"));
    return CORE_REQUEST_OK;
}

int core_request::compose_runonelement(const char* objectID, const char* action,
                                       const char* payload, const char* optionals,
                                       const char* hashcode, const char* caller) {
    return compose_runonelement(nullptr, nullptr, objectID, action, payload, optionals, hashcode,
                                caller);
}

int core_request::compose_updateloginmanagerdata() {
    return CORE_REQUEST_OK;
}

int core_request::run() {
    if (!is_usable_) {
        return -1;
    }
    response_status_ = -1;
    response_parameters_.clear();
    if (request_count_ > 0 && request_parameters_.empty()) {
        set_last_error(
            "core_request::run error requestparameters collection is EMPTY but <%d> parameters "
            "number expected",
            request_count_);
        return -1;
    }
    fsmcore_format::Request request{function_, {}, kWaittimeSeconds};
    for (int position = 0; position < request_count_; ++position) {
        request.parameters.push_back(sendable_value(position));
    }
    fsmcore_format::Response response;
    const int result = fsmcore_call(FSMCORE_SOCKET, fsmcore_format::Form::plain, request, response);
    if (result != FSMCORE_OK) {
        set_last_error("core_request::run error calling fsmcore_request <%d>", result);
        return -1;
    }
    response_status_ = result;
    for (std::string& value : response.parameters) {
        response_parameters_.push_back(value.empty() ? kNoValue : std::move(value));
    }
    return 0;
}

int core_request::get_coreserviceresponseparametersnumber() const {
    return static_cast<int>(response_parameters_.size());
}

const char* core_request::get_coreserviceresponseparameter(int position) const {
    return position >= 0 && position < get_coreserviceresponseparametersnumber()
               ? response_parameters_[static_cast<std::size_t>(position)].c_str()
               : nullptr;
}

void core_request::set_last_error(const char* format, ...) {
    char text[kErrorBytes];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (length >= 0) {
        last_error_ = text;
        error("%s", text);
    }
}

// The value at `position` as it is sent, empty when it was not set.
std::string core_request::sendable_value(int position) {
    const auto found = request_parameters_.find(position);
    if (found == request_parameters_.end()) {
        return std::string();
    }
    const std::string& value = found->second;
    if (value.size() >= static_cast<std::size_t>(kValueLimitBytes)) {
        set_last_error(
            "core_request::run warning requestparameters %d will be truncated because exceed the "
            "core service format %d > %d",
            position, static_cast<int>(value.size()), kValueLimitBytes);
    }
    return value.substr(0, kValueCutBytes);
}

}  // namespace libtavcore
