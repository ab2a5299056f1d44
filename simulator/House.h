/// A simulated house: system log, core, database service, bridge and, once started, the daemon,
/// with one journal of their exchanges. The tool huectl can be run in it.
///
/// Needs a sandbox. One controlling thread.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/Installation.h"
#include "simulator/bridge/Bridge.h"
#include "simulator/core/Core.h"
#include "simulator/database/DatabaseService.h"
#include "simulator/journal/Journal.h"
#include "simulator/journal/SystemLog.h"
#include "simulator/ledger/Ledger.h"
#include "simulator/process/ChildProcess.h"

namespace simulator {

class House final {
  public:
    struct Options {
        std::string daemon = {};  ///< path of the program
        Installation installation = {};
        std::vector<std::string> environment = {};  ///< of the daemon, "NAME=value"
        std::string huectl = {};                    ///< path of the tool
        /// False: the bridge has no user, and the database no parameters of the bridge.
        bool is_paired = true;
    };

    /// Starts everything but the daemon. Throws std::exception with a message for the user if the
    /// installation is wrong, or a port or path is taken.
    explicit House(const Options& options, Journal::Listener listener = {});
    ~House();

    /// Starts the daemon for the installation's bridge. `arguments` precede the object's ID.
    void launch(ChildProcess::Words arguments = {});
    /// Launches the daemon and passes its port to the core. Returns the port, -1 if it reports a
    /// failure, or nothing without a start status within kStartLimit.
    std::optional<int> start(const ChildProcess::Words& arguments = {});
    /// True once the daemon has read every light and polled the bridge.
    bool is_ready() const { return has_daemon() && polls() > polls_before_; }
    /// Stops the daemon. Returns as ChildProcess::stop(), or nothing if none was started.
    std::optional<int> stop();

    /// Sends a command of the core, and enters it in the ledger. Returns the status number of the
    /// answer, or nothing without an answer.
    std::optional<int> command(int object, const std::string& payload);
    /// Where the core's values and the lights differ.
    std::vector<std::string> differences();
    Ledger& ledger() { return ledger_; }

    /// Runs the tool until it ends, for at most kToolLimit or until `is_over`. Its lines, errors
    /// too, go to the journal as it prints them and to the result's output. The journal
    /// distinguishes its requests to the bridge from those of the daemon only while no daemon runs.
    ChildProcess::Result run_huectl(const ChildProcess::Words& arguments,
                                    const std::function<bool()>& is_over);
    /// Stores `text` in the database as the optional parameters of the daemon's bridge.
    void store_parameters(const std::string& text);

    Core& core() { return core_; }
    Bridge& bridge() { return *bridge_; }
    Bulb light(int id) { return bridge_->light(id); }
    DatabaseService& database() { return database_; }
    /// Null if /dev/log is in use and the sandbox is not private.
    SystemLog* log() { return log_.get(); }
    /// After launch().
    ChildProcess& daemon() { return *daemon_; }
    Journal& journal() { return journal_; }
    /// Discards the events, requests and log lines so far, so that a long run does not grow.
    void forget();
    bool has_daemon() const { return daemon_ != nullptr; }

    /// The database's ID of the bridge that the daemon serves.
    int runner() const { return runner_; }
    /// The port of the daemon's commands endpoint.
    int port() const { return port_; }
    const std::vector<RoleObject>& objects() const { return objects_; }

    /// Waits until `predicate` is true; false at the limit.
    bool wait_until(const std::function<bool()>& predicate, std::chrono::milliseconds limit) const {
        return journal_.wait_until(predicate, limit);
    }

    static constexpr std::chrono::seconds kStartLimit{40};
    static constexpr std::chrono::seconds kToolLimit{60};

  private:
    Bridge::Setup find_bridge();  // sets the runner too
    EventSink client_sink();      // of the bridge and the database
    int polls() const { return bridge_->count("GET", "/lights"); }
    void enter(const Event& event);
    std::vector<RoleObject> find_objects();

    const Options options_;
    Journal journal_;
    DatabaseService database_;
    Core core_;
    int runner_ = 0;
    Bridge::Setup setup_;
    const std::vector<RoleObject> objects_;
    Ledger ledger_;
    std::unique_ptr<SystemLog> log_;           // adds to the ledger
    std::atomic<bool> is_tool_asking_{false};  // instead of the daemon
    std::unique_ptr<Bridge> bridge_;
    int port_ = -1;
    int polls_before_ = 0;                  // before the start of the daemon
    std::unique_ptr<ChildProcess> daemon_;  // last: destroyed first
};

}  // namespace simulator
