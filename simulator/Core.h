/// The house's state-machine core: takes the daemon's reports on its socket, keeps the value of
/// every object, and sends commands to the daemon's commands endpoint.
///
/// Thread-safe. The faults are switched by one controlling thread and hold until the next switch.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "libcbase/FSMCoreutil.h"
#include "simulator/Journal.h"
#include "simulator/SocketServer.h"

namespace simulator {

class Core final {
  public:
    static constexpr const char* kSocketPath = FSMCORE_SOCKET;

    enum class Fault {
        none,
        silent,        ///< accepts and never answers
        gone,          ///< takes half a report, and resets the connection
        late,          ///< answers as it should, kLatePause later
        rubbish,       ///< answers bytes that are no answer
        error_status,  ///< answers FSMC-013
    };

    /// One SETVALUE of the daemon.
    struct Report {
        int object;
        std::string value;
        std::string caller;  ///< the runner's ID
    };

    /// Listens; throws std::system_error when the socket cannot be made.
    explicit Core(EventSink sink = {}, const std::string& socket_path = kSocketPath);
    ~Core();

    /// @name What the daemon reported
    /// @{
    /// The last value; nothing when none was reported.
    std::optional<std::string> value(int object) const;
    std::vector<std::string> history(int object) const;
    std::vector<Report> reports() const;
    /// The reports since the last call, which are forgotten.
    std::vector<Report> takes_reports();
    /// Requests that were no SETVALUE in the form that the core expects.
    int malformed_requests() const { return malformed_; }
    int connections() const { return server_.connections(); }
    /// Forgets every value and report.
    void forget();
    /// @}

    /// @name Faults
    /// @{
    void fails(Fault fault) { fault_ = fault; }
    /// Refuses connections; its socket's file stays.
    void vanishes() { server_.refuse(); }
    /// The same without the file.
    void loses_socket();
    /// A connection neither opens nor fails.
    void hangs() { server_.hang(); }
    void recovers();
    /// @}

    /// @name Commands to the daemon
    /// Each call is one connection; what does not arrive within kAnswerLimit counts as no answer.
    /// @{
    /// The port of the daemon's commands endpoint on 127.0.0.1.
    void talks_to(int port) { daemon_port_ = port; }
    /// Runs an object; the status number of the answer, nothing when there was none.
    std::optional<int> runs(int object, const std::string& payload);
    std::optional<int> quits();
    /// A connection to the endpoint on which nothing was said; none when it is refused.
    FileDescriptor connects() const;
    /// @}

    static constexpr std::chrono::seconds kAnswerLimit{10};
    static constexpr std::chrono::seconds kLatePause{1};

  private:
    void serve(Connection& connection);
    std::optional<int> sends(std::vector<std::string> parameters) const;
    std::string answer_to(const std::string& request) const;  // as it came
    bool record(const std::string& request);

    EventSink sink_;
    std::string socket_path_;
    mutable std::mutex mutex_;  // guards reports_
    std::vector<Report> reports_;
    std::atomic<int> malformed_{0};
    std::atomic<Fault> fault_{Fault::none};
    std::atomic<int> daemon_port_{0};
    SocketServer server_;  // last: its threads use the rest
};

}  // namespace simulator
