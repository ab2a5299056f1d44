/// A whole house for the daemon to live in: system log, core, database service, bridge and, once
/// started, the daemon itself, with one journal of what they say to each other.
///
/// Stands in a sandbox. Its verbs belong to one controlling thread.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/Bridge.h"
#include "simulator/Core.h"
#include "simulator/DaemonProcess.h"
#include "simulator/DatabaseService.h"
#include "simulator/Journal.h"
#include "simulator/SystemLog.h"

namespace simulator {

class House final {
  public:
    struct Options {
        std::string daemon;                         ///< path of the program
        std::string sql_file = sample_sql();        ///< the installation
        std::string lights_file = sample_lights();  ///< the bridge's lights
        std::vector<std::string> environment = {};  ///< of the daemon, "NAME=value"
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
    bool is_ready() const { return bridge_->count("GET", "/lights") > 0; }
    /// Stops the daemon; nothing when there is none.
    std::optional<DaemonProcess::Ending> stop();

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

    /// The sample installation that stands beside this file.
    static std::string sample_sql();
    static std::string sample_lights();

  private:
    void find_bridge(Bridge::Setup& setup);
    void take_log_line(const SystemLog::Line& line);

    std::string daemon_path_;
    std::vector<std::string> environment_;
    Journal journal_;
    std::unique_ptr<SystemLog> log_;
    DatabaseService database_;
    Core core_;
    std::unique_ptr<Bridge> bridge_;
    int runner_ = 0;
    std::unique_ptr<DaemonProcess> daemon_;  // last: it goes first
};

}  // namespace simulator
