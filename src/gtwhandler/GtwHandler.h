/// The event loop of a gateway daemon: the commands endpoint on which the core delivers its
/// requests, the registered gateways, and a select step that serves one event of either.
///
/// One thread creates, runs and destroys it; the gateways' callbacks run on that thread and block
/// the loop. The loop waits in select only: a slow peer delays no other.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <sys/select.h>

#include "gtwhandler/CallFromCoreParameters.h"
#include "gtwhandler/GtwBaseClass.h"
#include "gtwhandler/GtwListElement.h"
#include "gtwhandler/PendingRequest.h"
#include "libcbase/Cstylecode.h"
#include "libcbase/FSMCoreutil.h"
#include "libcbase/memory.h"

namespace gtwhandlernamespace {

/// Results of the operations on the gateway list.
enum gateway_list_result {
    GATEWAY_LIST_OK = 0,
    GATEWAY_LIST_NOT_FOUND = 16,
    GATEWAY_LIST_FULL = 30,  ///< also for a descriptor that select cannot watch
};

class GtwHandler final {
  public:
    /// The event that the last step served.
    enum class EventKind {
        select_timeout = 0,
        core_request = 1,
        gateway_data = 2,
    };

    /// Gateways that can be registered at the same time.
    static constexpr std::size_t kMaxGateways = 20;
    /// Requests that may be arriving at the same time, fewer when descriptors are short; a further
    /// one displaces the oldest.
    static constexpr std::size_t kMaxPendingRequests = 32;
    /// A request that is not complete this long after its connection times out.
    static constexpr int kRequestDeadlineSeconds = 5;
    /// Pause after a connection could not be accepted and there was no request to displace.
    static constexpr int kAcceptPauseMilliseconds = 1000;

    /// The commands endpoint is a UNIX socket at `name` (copied), a TCP socket at `port`, or a TCP
    /// socket at a port that the system chooses. Nothing is opened before initialize().
    GtwHandler(const char* name, int argc, char** argv);
    GtwHandler(int port, int argc, char** argv);
    GtwHandler(int argc, char** argv);

    /// Closes the endpoint and every connection; the gateways are not deleted. Not copyable.
    ~GtwHandler() = default;
    GtwHandler(const GtwHandler&) = delete;
    GtwHandler& operator=(const GtwHandler&) = delete;

    /// Installs the signal handlers and opens the commands endpoint. 0, or -1 with the last error.
    int initialize();

    /// One step: waits for at most the select timeout and serves one event. -1 on failure (with the
    /// last error), 0 after the timeout, else the result of the last callback, or the number of
    /// ready descriptors if the event had no callback.
    int run();

    /// Registers a gateway, which is not owned and must outlive its entry. An `fd` above 0 is
    /// watched for it and remains the gateway's own. 0 or GATEWAY_LIST_FULL.
    int addGateway(int fd, gtwbasenamespace::GtwBaseClass* gateway);
    int addGateway(gtwbasenamespace::GtwBaseClass* gateway);

    /// Remove the first entry that matches. The gateway that was registered first cannot be
    /// removed: the result is GATEWAY_LIST_NOT_FOUND, as for an entry that does not exist.
    int removeGateway(int fd);
    int removeGateway(gtwbasenamespace::GtwBaseClass* gateway);
    int removeGatewayAtIndex(int index);

    /// Rebuilds the descriptor set from the endpoint and the gateways.
    void refreshMaxFd();
    /// Call before each run(). 0 as long as the loop is to go on.
    int cleanup();

    /// Writes the start status, which the parent process reads, to standard output: "0,port" or,
    /// for a negative `status`, "-1,-1". 0, or -1 when standard output cannot be written.
    int sendStatusToCore(int status) const;

    /// Keeps at most 255 bytes and logs them at info level, there with control characters escaped.
    /// A null format changes nothing.
    [[gnu::format(printf, 2, 3)]] void setLastError(const char* format, ...);
    /// Null until the first failure; valid until the next one. Texts of the core are unescaped.
    const char* getLastError() const { return last_error_.get(); }

    /// The longest wait of one step.
    void setSelectTimeout(unsigned seconds, unsigned microseconds);
    /// The endpoint's port: -1 for a UNIX socket, 0 until initialize() when the system chooses.
    int getLocalPortWithCore() const { return local_port_; }
    /// Always 5; the loop itself does not limit a callback.
    int getGatewayCallbacksTimeout() const { return kGatewayCallbacksTimeout; }
    /// Of the last step; select_timeout before the first.
    EventKind getLastEventKind() const { return last_event_kind_; }
    /// The version of this class, not of the daemon.
    const char* getVersion() const { return "0.0.9"; }

  private:
    using Clock = PendingRequest::Clock;
    static constexpr int kGatewayCallbacksTimeout = 5;

    // One select, and the result of run() for what it found.
    struct Step {
        fd_set ready;
        int result;  // the number of ready descriptors, until a failure or a callback replaces it
    };
    static constexpr int kFailed = -1;

    bool installSignalHandlers();
    bool openCommandsEndpoint();
    void watch(int fd);

    Step waitForInput(Clock::time_point step_end) const;
    // Each serves at most one event and returns whether it did.
    bool serveInput(Step& step);
    bool advanceRequests(Step& step);
    bool advanceRequest(std::size_t index, Step& step);
    bool acceptRequest(Step& step);
    bool acceptFailed(int reason, Step& step);
    bool serveGateway(Step& step);

    FileDescriptor acceptConnection();
    bool placeNewest();
    PendingRequest takeRequest(std::size_t index);
    void dropOldestRequest();
    void handleRequest(PendingRequest request, Step& step);
    void runOnElement(PendingRequest& request, fsmcore_format::Request& message, Step& step);
    void callGateways(callfromcoreparametersnamespace::CallFromCoreParameters& parameters,
                      Step& step);
    void recordReceiveFailure(bool has_received, const char* reason);
    void recordFault(const fsmcore_format::ParseResult& result, const std::string& function);

    xstring last_error_;
    std::optional<std::string> endpoint_name_;
    fd_set read_set_{};
    int highest_fd_ = -1;
    FileDescriptor listener_;
    std::chrono::microseconds select_timeout_ = std::chrono::seconds(10);
    int local_port_;
    std::vector<gtwlistelementnamespace::GtwListElement> gateways_;  // at most kMaxGateways
    EventKind last_event_kind_ = EventKind::select_timeout;
    std::vector<PendingRequest> pending_;  // the oldest first
    Clock::time_point accept_pause_end_{};
};

}  // namespace gtwhandlernamespace
