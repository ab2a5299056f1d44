/// A whole house for the daemon to live in: system log, core, database service, bridge and, once
/// started, the daemon itself, with one journal of what they say to each other. An installer may
/// run the tool huectl in it.
///
/// Stands in a sandbox. Its verbs belong to one controlling thread.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/Bridge.h"
#include "simulator/ChildProcess.h"
#include "simulator/Core.h"
#include "simulator/DaemonProcess.h"
#include "simulator/DatabaseService.h"
#include "simulator/DelayedAction.h"
#include "simulator/Journal.h"
#include "simulator/SystemLog.h"

namespace simulator {

class House final {
  public:
    struct Options {
        std::string daemon = {};                    ///< path of the program
        std::string sql_file = sample_sql();        ///< the installation
        std::string lights_file = sample_lights();  ///< the bridge's lights
        std::vector<std::string> environment = {};  ///< of the daemon, "NAME=value"
        std::string huectl = {};                    ///< path of the tool
        /// When false nobody has paired with the bridge yet, and the database does not know it.
        bool is_paired = true;
    };

    /// An object of the installation that has a role for a light.
    struct RoleObject {
        int id;
        int light;         ///< number on the bridge
        std::string role;  ///< "on_off", "value", ...
        std::string name;
    };

    /// Everything but the daemon. Throws std::exception with a text for the person when a file is
    /// wrong, or a port or path is not free.
    explicit House(const Options& options, Journal::Listener listener = {});
    ~House();

    /// Starts the daemon for the installation's bridge and reads its start status, for which it
    /// gets kStartLimit. Nothing when it gave none. Its commands endpoint is told to the core.
    std::optional<DaemonProcess::StartStatus> start();
    /// True once the daemon has read every light and polled the bridge for the first time, for
    /// which kReadyLimit is enough.
    bool is_ready() const { return has_daemon() && polls() > polls_before_; }
    /// Stops the daemon; nothing when there is none.
    std::optional<DaemonProcess::Ending> stop();

    /// Runs the tool to its end, for which it gets kToolLimit, or until `is_over`; its lines are
    /// reported as it prints them. The journal tells its requests to the bridge from the daemon's
    /// only while no daemon runs.
    ChildProcess::Result runs_huectl(
        const ChildProcess::Words& arguments,
        const std::function<bool()>& is_over = [] { return false; });
    /// Presses the bridge's link button after `delay`, while whatever else goes on.
    void presses_button_in(std::chrono::milliseconds delay);
    /// Puts `text` into the database as the optional parameters of the daemon's bridge.
    void stores_parameters(const std::string& text);

    Core& core() { return core_; }
    Bridge& bridge() { return *bridge_; }
    Bulb light(int id) { return bridge_->light(id); }
    DatabaseService& database() { return database_; }
    /// Null where the machine's own log cannot be taken over.
    SystemLog* log() { return log_.get(); }
    /// After start().
    DaemonProcess& daemon() { return *daemon_; }
    Journal& journal() { return journal_; }
    /// Lets go of the events, requests and log lines so far, so that a house that stands for hours
    /// does not grow. The core's reports stay.
    void forget();
    bool has_daemon() const { return daemon_ != nullptr; }

    /// The database's ID of the bridge that the daemon serves.
    int runner() const { return runner_; }
    std::vector<RoleObject> objects();

    /// True as soon as `predicate` is; false when it is not within `limit`.
    bool wait_for(const std::function<bool()>& predicate, std::chrono::milliseconds limit) const {
        return journal_.wait_for(predicate, limit);
    }

    static constexpr std::chrono::seconds kStartLimit{40};
    static constexpr std::chrono::seconds kReadyLimit{30};
    static constexpr std::chrono::seconds kToolLimit{60};

    /// The sample installation that stands beside this file.
    static std::string sample_sql();
    static std::string sample_lights();

  private:
    void find_bridge(Bridge::Setup& setup);
    EventSink bridge_sink();
    int polls() const { return bridge_->count("GET", "/lights"); }
    void take_log_line(const SystemLog::Line& line);

    std::string daemon_path_;
    std::vector<std::string> environment_;
    std::string huectl_path_;
    Journal journal_;
    std::unique_ptr<SystemLog> log_;
    DatabaseService database_;
    Core core_;
    std::atomic<bool> is_tool_asking_{false};  // and not the daemon
    std::unique_ptr<Bridge> bridge_;
    std::unique_ptr<DelayedAction> button_;
    int runner_ = 0;
    int polls_before_ = 0;                   // the start of the daemon
    std::unique_ptr<DaemonProcess> daemon_;  // last: it goes first
};

}  // namespace simulator
