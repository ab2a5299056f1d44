/// The event loop of a gateway daemon: the commands endpoint on which the core delivers its
/// requests, the registered gateways, and a select step that serves one event of either.
///
/// One thread makes, turns and destroys it; the gateways' callbacks run on that thread and block
/// the loop. What it waits for, it waits for in its select: a peer that is slow delays nobody.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
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
    enum class EventKind {
        select_timeout = 0,
        core_request = 1,
        gateway_data = 2,
    };

    static constexpr std::size_t kMaxGateways = 20;
    /// Requests that may be arriving at the same time, fewer when descriptors are short; a further
    /// one displaces the oldest.
    static constexpr std::size_t kMaxPendingRequests = 32;
    /// A request that has not arrived this long after its connection is given up.
    static constexpr int kRequestDeadlineSeconds = 5;
    /// Pause after a connection that could not be accepted while no request was there to displace.
    static constexpr int kAcceptPauseMilliseconds = 1000;

    /// The commands endpoint is a UNIX socket at `name` (copied), a TCP socket at `port`, or a TCP
    /// socket at a port that the system chooses. Nothing is opened before initialize().
    GtwHandler(const char* name, int argc, char** argv);
    GtwHandler(int port, int argc, char** argv);
    GtwHandler(int argc, char** argv);
    /// Closes the endpoint and every connection; the gateways are not deleted.
    ~GtwHandler() = default;
    GtwHandler(const GtwHandler&) = delete;
    GtwHandler& operator=(const GtwHandler&) = delete;

    /// Installs the signal handlers and opens the commands endpoint. 0, or -1 with the last error.
    int initialize();

    /// One step: waits at most the select time-out until one event is served. -1 on a failure (with
    /// the last error), 0 when the time passed, else what the last callback returned, or the number
    /// of ready descriptors when the event had no callback.
    int run();

    /// Registers a gateway, not owned, which must outlive its entry; `fd`, when above 0, is watched
    /// for it and stays its own. 0 or GATEWAY_LIST_FULL.
    int addGateway(int fd, gtwbasenamespace::GtwBaseClass* gateway);
    int addGateway(gtwbasenamespace::GtwBaseClass* gateway);

    /// Remove the first entry that matches. The gateway registered first stays for good: for it, as
    /// for one that is not there, the result is GATEWAY_LIST_NOT_FOUND.
    int removeGateway(int fd);
    int removeGateway(gtwbasenamespace::GtwBaseClass* gateway);
    int removeGatewayAtIndex(int index);

    /// Rebuilds the descriptor set from the endpoint and the gateways.
    void refreshMaxFd();
    /// To be called before each run(). 0 as long as the loop is to turn.
    int cleanup();

    /// Writes the start status, which the parent process reads, to standard output: "0,port" or,
    /// for a negative `status`, "-1,-1". 0, or -1 when standard output refuses.
    int sendStatusToCore(int status) const;

    /// Keeps at most 255 bytes and logs them at info level. A null format changes nothing.
    [[gnu::format(printf, 2, 3)]] void setLastError(const char* format, ...);
    /// Null while nothing failed; valid until the next failure.
    const char* getLastError() const { return last_error_.get(); }

    /// The longest wait of one step.
    void setSelectTimeout(unsigned seconds, unsigned microseconds);
    /// The endpoint's port: -1 for a UNIX socket, 0 until initialize() when the system chooses.
    int getLocalPortWithCore() const { return local_port_; }
    int getGatewayCallbacksTimeout() const { return kGatewayCallbacksTimeout; }
    EventKind getLastEventKind() const { return last_event_kind_; }
    const char* getVersion() const { return "0.0.9"; }

  private:
    using Clock = PendingRequest::Clock;
    static constexpr int kGatewayCallbacksTimeout = 5;

    GtwHandler(const char* name, int port);

    bool installSignalHandlers();
    bool openCommandsEndpoint();
    void watch(int fd);

    // The parts of a step return the step's result, or nothing while there was no event.
    int waitForInput(Clock::time_point step_end, fd_set& ready) const;
    std::optional<int> serveInput(const fd_set& ready, int ready_count);
    std::optional<int> advanceRequests(const fd_set& ready, int ready_count);
    std::optional<int> advanceRequest(std::size_t index, int ready_count);
    std::optional<int> acceptRequest(int ready_count);
    FileDescriptor acceptConnection();
    std::optional<int> acceptFailed(int reason);
    bool placeNewest();
    std::optional<int> serveGateway(const fd_set& ready, int ready_count);

    PendingRequest takeRequest(std::size_t index);
    void dropOldestRequest();
    int handleRequest(PendingRequest request, int ready_count);
    int runOnElement(PendingRequest& request, fsmcore_format::Request& message, int ready_count);
    int callGateways(callfromcoreparametersnamespace::CallFromCoreParameters& parameters,
                     int ready_count);
    void recordReceiveFailure(bool has_received, const char* reason);
    void recordFault(const fsmcore_format::ParseResult& result, const std::string& function);

    xstring last_error_;
    std::optional<std::string> endpoint_name_;
    fd_set read_set_;
    int highest_fd_ = -1;
    FileDescriptor listener_;
    std::chrono::microseconds select_timeout_ = std::chrono::seconds(10);
    int local_port_;
    std::array<std::unique_ptr<gtwlistelementnamespace::GtwListElement>, kMaxGateways> gateways_;
    std::size_t gateway_count_ = 0;
    EventKind last_event_kind_ = EventKind::select_timeout;
    std::vector<PendingRequest> pending_;  // the oldest first
    Clock::time_point accept_pause_end_{};
};

}  // namespace gtwhandlernamespace
