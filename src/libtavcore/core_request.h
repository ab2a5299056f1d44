/// One request to the core, FSMCore: a function name and an ordered list of parameters. Each run
/// sends it over a connection of its own and keeps the answer's status and parameters.
///
/// One thread creates, uses and destroys it. Nothing that the core does or sends causes an
/// exception: a failure is a result of -1 with a last-error text, which is also logged.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace libtavcore {

/// Results of compose_runonelement.
enum core_request_result {
    CORE_REQUEST_OK = 0,
    CORE_REQUEST_PARAMETER_MISSING = 12,
};

class core_request final {
  public:
    /// `socket` must be FSMCORE_SOCKET (FSMCoreutil.h), case-insensitive. With another socket or a
    /// null function every run() fails, and the last error keeps the reason.
    core_request(const char* socket, const char* function);

    /// Appends a copy of `value` as the next parameter. A null `value` counts and is sent empty.
    void set_coreservicerequestparameter(const char* value);

    /// Makes this a SERVICE_RUNONELEMENT request and appends, in this order: ip and sessionID (left
    /// out when null), objectID, action, payload, optionals, hashcode and caller (a fixed text when
    /// null). 0, or 12 for a null objectID or action.
    int compose_runonelement(const char* ip, const char* sessionID, const char* objectID,
                             const char* action, const char* payload, const char* optionals,
                             const char* hashcode, const char* caller);
    /// The same without ip and sessionID.
    int compose_runonelement(const char* objectID, const char* action, const char* payload,
                             const char* optionals, const char* hashcode, const char* caller);
    /// Does nothing; 0.
    int compose_updateloginmanagerdata();

    /// Sends the request and waits up to 5 s for the answer. 0 when the core answered FSMC-000,
    /// else -1 with the last error. A value of 511 bytes or more is sent up to its 512th byte, with
    /// a warning as the last error.
    int run();

    /// The last error, empty if there was none; valid until the next one.
    const char* get_last_error() const { return last_error_.c_str(); }
    /// Status of the answer, -1 before a successful run.
    int get_coreserviceresponsestatus() const { return response_status_; }
    /// How many parameters the answer had.
    int get_coreserviceresponseparametersnumber() const;
    /// "NO-VALUE" for a parameter that the core sent empty, null for one that it did not send.
    const char* get_coreserviceresponseparameter(int position) const;
    /// "0.0.6"
    const char* get_version() const { return "0.0.6"; }

  private:
    [[gnu::format(printf, 2, 3)]] void set_last_error(const char* format, ...);
    std::string sendable_value(int position);

    std::string last_error_;
    std::string function_;
    bool is_usable_ = true;
    int request_count_ = 0;
    std::map<int, std::string> request_parameters_;
    int response_status_ = -1;
    std::vector<std::string> response_parameters_;
};

}  // namespace libtavcore
