/// The simulated core: receives the daemon's reports on its socket, keeps the value of every
/// object, and sends commands to the daemon's commands endpoint.
///
/// Thread-safe. One controlling thread injects the faults.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "libcbase/FSMCoreutil.h"
#include "simulator/journal/Journal.h"
#include "simulator/net/SocketServer.h"

namespace simulator {

class Core final {
  public:
    static constexpr const char* kSocketPath = FSMCORE_SOCKET;

    /// One SETVALUE of the daemon.
    struct Report {
        int object;
        std::string value;
        std::string caller;  ///< the runner's ID
    };

    /// Listens; throws std::system_error if the socket cannot be created.
    explicit Core(EventSink sink = {}, const std::string& socket_path = kSocketPath);
    ~Core();

    /// @name Reports of the daemon
    /// @{
    /// The last reported value; nothing if there was no report.
    std::optional<std::string> value(int object) const;
    std::vector<std::string> history(int object) const;
    std::vector<Report> reports() const;
    /// Returns and removes the reports since the last call.
    std::vector<Report> take_reports();
    /// Number of requests that were not a valid SETVALUE.
    int malformed_requests() const { return malformed_; }
    int connections() const { return server_.connections(); }
    /// Removes every value and report.
    void forget();
    /// @}

    /// @name Faults; each lasts until the next one or recover()
    /// @{
    /// Throws std::invalid_argument for a name that is not one of fault_names().
    void inject_fault(const std::string& name) { inject_by_name(faults(), *this, name); }
    static std::vector<std::string> fault_names() { return names_of(faults()); }
    void recover() { server_.recover(); }
    /// @}

    /// @name Commands to the daemon
    /// Each call is one connection; an answer later than kAnswerLimit counts as none.
    /// @{
    /// The port of the daemon's commands endpoint on 127.0.0.1.
    void set_daemon_port(int port) { daemon_port_ = port; }
    /// Runs an object. Returns the status number of the answer, or nothing without an answer.
    std::optional<int> run_object(int object, const std::string& payload);
    std::optional<int> quit();
    /// A new connection to the endpoint; invalid if it is refused.
    FileDescriptor connect_to_daemon() const;
    /// @}

    static constexpr std::chrono::seconds kAnswerLimit{10};
    static constexpr std::chrono::seconds kLatePause{1};

  private:
    static const FaultTable<Core>& faults();
    void serve(Connection& connection);
    std::optional<int> send_command(std::vector<std::string> parameters) const;
    std::string answer_to(const std::string& request) const;
    bool record(const std::string& request);

    EventSink sink_;
    std::string socket_path_;
    mutable std::mutex mutex_;  // guards reports_
    std::vector<Report> reports_;
    std::atomic<int> malformed_{0};
    std::atomic<int> daemon_port_{0};
    SocketServer server_;  // last: its threads use the rest
};

}  // namespace simulator
