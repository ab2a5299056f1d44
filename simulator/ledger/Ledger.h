/// The account of everything that the daemon was asked to do and did.
///
/// Every command that the core got FSMC-000 for is carried out (the right PUT at the bridge, in
/// order, paced), needless by the state that the daemon knows, or has its line in the log. Every
/// change of a light is reported once with the right value, and nothing else is. It judges each
/// script of the house, the soak and the burst.
///
/// Thread-safe. The core, the bridge and the log add what they see, in the order in which the
/// daemon does it: before a request or a report is added, the earlier log lines are.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <json/value.h>

#include "simulator/bridge/Gate.h"
#include "simulator/ledger/Conversions.h"

namespace simulator {

/// An object of the installation that has a role for a light.
struct RoleObject {
    int id;
    int light;         ///< number on the bridge
    std::string role;  ///< "on_off", "value", ...
    std::string name;
};

class Ledger final {
  public:
    enum class Outcome { waiting, done, needless, failed, dropped, lost };
    struct Command {
        int object;
        std::string payload;
        bool is_acknowledged = false;
        Outcome outcome = Outcome::waiting;  ///< done as soon as the bridge accepts it
        std::string reason = {};             ///< the log line of a failure, or why it is lost
    };
    struct Counts {
        std::size_t early_polls = 0;  ///< sooner than kPollPeriod
        std::size_t requests = 0, polls = 0, reports = 0;
        std::chrono::milliseconds smallest_gap{0};  ///< between the starts of two requests
        std::chrono::milliseconds largest_lead{0};  ///< ahead of a pace of one every kPace
    };

    explicit Ledger(const std::vector<RoleObject>& objects);

    /// @name Observations
    /// @{
    /// Forgets what the previous daemon knew; its commands without an outcome are lost.
    void start_daemon();
    /// Returns the number of the command.
    std::size_t add_command(int object, const std::string& payload);
    void add_acknowledgement(std::size_t command);
    /// One log line of the daemon, preceded by its level: "error: ...".
    void add_log_line(const std::string& text);
    /// One request and its answer.
    void add_exchange(const Gate::Request& request, const std::string& answer);
    void add_report(int object, const std::string& value);
    /// From now on log lines are missing: a command begins with its first request.
    void miss_log_lines();
    /// @}

    Counts counts() const;
    /// Number of commands with this outcome.
    std::size_t count(Outcome outcome) const;
    /// The commands and their outcomes in one line.
    std::string account() const;
    /// The last `count` commands.
    std::vector<Command> last_commands(std::size_t count) const;
    /// Whether a light is on as far as the daemon knows; nothing if it does not.
    std::optional<bool> known_on(int light) const;
    /// What the core holds for an object: the last report.
    std::optional<std::string> value(int object) const;
    /// Until the next report, value() returns nothing.
    void forget_value(int object);
    /// Where the core's values and these states of the lights differ; each as one line.
    std::vector<std::string> differences(const std::map<int, Json::Value>& states) const;
    /// The first violations of what is said above, except lost commands.
    std::vector<std::string> problems() const;
    const Conversions& conversions() const { return conversions_; }

    static constexpr std::chrono::milliseconds kPace{100};
    /// A delayed request is followed by a shorter gap; a wrong pace adds up.
    static constexpr std::chrono::milliseconds kLeadTolerance{90};
    /// The shortest time between polls, and between a command and a poll.
    static constexpr std::chrono::milliseconds kPollPeriod{2900};

  private:
    using Clock = std::chrono::steady_clock;
    using Numbers = Conversions::Numbers;

    struct Object {
        int light = 0;
        std::string role = "on_off";
        bool is_reported = true;
        std::optional<Numbers> known = {};     // what the daemon stored
        std::optional<std::string> core = {};  // what the core knows of the light
        bool is_commanded = false;             // core is from a command, not from a report
        std::optional<std::string> report = {};
    };
    struct Progress {
        Command* command;
        std::optional<Json::Value> state = {};  // read for this command
        std::optional<Json::Value> body = {};
    };
    struct Poll {
        Json::Value lights;
        std::set<int> reported = {};
        bool was_interrupted = false;  // a report failed, or the rest was left to the next poll

        const Json::Value& state(int light) const { return lights[std::to_string(light)]["state"]; }
    };

    // The mutex is held in all of these.
    // Log lines and commands: Ledger.cpp
    void take_error(const std::string& text);
    void begin(int object, int value);
    void settle();
    void end_command(Command& command, Outcome outcome, const std::string& reason);
    std::optional<Json::Value> expected_body(const Object& object, std::string& problem) const;
    std::optional<Json::Value> changed_members(const Object& object, Json::Value body) const;
    std::optional<Json::Value> expected_color(const Object& object, int value) const;
    void apply(const Command& command, bool is_off);
    bool is_of_command(int light);
    void add_problem(const std::string& problem);
    // Requests, polls and reports: Ledger_bridge.cpp
    void take_read(int light, const Json::Value& answer);
    void take_put(const Gate::Request& request, int light, const Json::Value& answer);
    void store(int light, const Json::Value& state);
    void check_pace(Clock::time_point start);
    void open_poll(const Gate::Request& request, const Json::Value& answer);
    void close_poll();
    void close_poll(int id, Object& object, const Json::Value& state);
    bool must_report(const Object& object, const Json::Value& state) const;

    Conversions conversions_;
    mutable std::mutex mutex_;  // guards the rest
    std::map<int, Object> objects_;
    std::map<int, bool> is_on_;  // lights as the daemon read them last
    std::deque<Command> commands_;
    std::deque<Command*> waiting_;  // those that have not begun
    std::optional<Progress> progress_;
    std::optional<Poll> poll_;  // its reports may still arrive
    Counts counts_;
    std::vector<std::string> problems_;
    bool misses_log_lines_ = false;
    Clock::time_point daemon_start_;
    std::optional<Clock::time_point> last_request_, last_command_, last_poll_;
    Clock::time_point slot_{};
};

}  // namespace simulator
