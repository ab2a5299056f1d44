/// The simulated core: receives the daemon's reports on its socket, and sends commands to the
/// daemon's commands endpoint.
///
/// Thread-safe. One controlling thread injects the faults.
#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "libcbase/FSMCoreutil.h"
#include "simulator/journal/Journal.h"
#include "simulator/net/SocketServer.h"

namespace simulator {

class Core final : public WithFaults<Core> {
  public:
    static constexpr const char* kSocketPath = FSMCORE_SOCKET;

    /// One SETVALUE of the daemon. A request that is not one has object 0 and its text as value.
    struct Report {
        int object;
        std::string value;
        std::string caller;  ///< the runner's ID
    };

    /// Listens; throws std::system_error if the socket cannot be created.
    explicit Core(EventSink sink = ignore_event, const std::string& socket_path = kSocketPath);

    std::vector<Report> reports() const;
    void forget_reports();

    /// @name Commands to the daemon
    /// @{
    /// The port of the daemon's commands endpoint on 127.0.0.1.
    void set_daemon_port(int port) { daemon_port_ = port; }
    /// Sends a command on a connection of its own. Returns the status number of the answer, or
    /// nothing without an answer within kAnswerLimit.
    std::optional<int> send_command(int object, const std::string& action,
                                    const std::string& payload) const;
    std::optional<int> run_object(int object, const std::string& payload) const {
        return send_command(object, "RUN", payload);
    }
    std::optional<int> quit() const { return send_command(0, "QUIT", "NO-PAYLOAD"); }
    /// A new connection to the endpoint; invalid if it is refused.
    FileDescriptor connect_to_daemon() const;
    /// @}

    static constexpr std::chrono::seconds kAnswerLimit{10};
    static constexpr std::chrono::seconds kLatePause{1};

  private:
    friend WithFaults<Core>;

    static const Table& faults();
    SocketServer& server() { return server_; }
    void serve(Connection& connection);
    int take_report(const std::string& request);

    EventSink sink_;
    mutable std::mutex mutex_;  // guards reports_
    std::vector<Report> reports_;
    std::atomic<int> daemon_port_{0};
    SocketServer server_;  // last: its threads use the rest
};

}  // namespace simulator
