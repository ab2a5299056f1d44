/// One request to the core, FSMCore: a function name and an ordered list of parameters, sent with
/// one connection a run; the answer's status and parameters are kept.
///
/// Made, used and destroyed by one thread. Nothing throws for what the core does or sends: a
/// failure is a result of -1 with a last-error text, which is logged as well.
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
    /// `socket` has to be the core's own, "/tmp/vexa_variables/sockets/vexa_fsmcore.socket",
    /// without regard to case. After another socket or a null function every run() fails, and the
    /// last error goes on telling why.
    core_request(const char* socket, const char* function);

    /// Appends a copy of `value` as the next parameter. A null `value` is counted and sent empty.
    void set_coreservicerequestparameter(const char* value);

    /// Makes this a SERVICE_RUNONELEMENT request and appends, in this order: ip and sessionID (left
    /// out when null), objectID, action, payload, optionals, hashcode and caller (a fixed text when
    /// null). 0, or 12 for a null objectID or action.
    int compose_runonelement(const char* ip, const char* sessionID, const char* objectID,
                             const char* action, const char* payload, const char* optionals,
                             const char* hashcode, const char* caller);
    int compose_runonelement(const char* objectID, const char* action, const char* payload,
                             const char* optionals, const char* hashcode, const char* caller);
    /// Nothing to do; 0.
    int compose_updateloginmanagerdata();

    /// Sends the request and waits up to 5 s for the answer. 0 when the core answered FSMC-000,
    /// else -1 with the last error. A value of 511 bytes or more is sent up to its 512th byte, with
    /// a warning as the last error.
    int run();

    /// The last error, empty while there is none; valid until the next one.
    const char* get_last_error() const { return last_error_.c_str(); }
    /// Status of the answer, -1 before a successful run.
    int get_coreserviceresponsestatus() const { return response_status_; }
    int get_coreserviceresponseparametersnumber() const;
    /// "NO-VALUE" for a parameter that the core sent empty, null for one that it did not send.
    const char* get_coreserviceresponseparameter(int position) const;
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
