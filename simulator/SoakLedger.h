/// The ledger of a soak: the result of each command of the core, and for each poll whether the
/// daemon reported the right values.
///
/// A command is settled by the requests and log lines of the daemon while it carries it out.
/// Thread-safe. The controlling thread and the threads of the bridge and the log add what they see,
/// in the order in which the daemon does it.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "simulator/House.h"
#include "simulator/SoakShadow.h"
#include "simulator/bridge/Gate.h"
#include "simulator/core/Core.h"

namespace simulator {

class SoakLedger final {
  public:
    struct Counts {
        std::size_t sent = 0;
        std::size_t acknowledged = 0;
        // The results. Together with the commands that wait they add up to `sent`.
        std::size_t carried_out = 0;  ///< the bridge confirmed it
        std::size_t needless = 0;     ///< the light showed it already
        std::size_t failed = 0;       ///< with its line in the log
        std::size_t refused = 0;      ///< a colour for a light that is off; logged too
        std::size_t dropped = 0;      ///< counted in the log when the daemon ends
        std::size_t lost = 0;         ///< none of these
        std::size_t requests = 0;     ///< to the bridge
        std::size_t polls = 0;
        std::size_t reports = 0;
        std::size_t log_lines = 0;
    };

    /// Before the daemon starts.
    void set_objects(const std::vector<House::RoleObject>& objects);

    /// @name Observations
    /// @{
    void add_command(const SoakCommand& command);
    void add_acknowledgement();
    /// One log line of the daemon, preceded by "error: " or "info: ".
    void add_log_line(const std::string& text);
    /// One request and its answer; `reports`: those since the previous request.
    void add_exchange(const Gate::Request& request, const std::string& answer,
                      const std::vector<Core::Report>& reports);
    /// Settles the last command: the daemon carries out no more.
    void finish();
    /// @}

    Counts counts() const;
    /// Number of commands that wait or are not settled yet.
    std::size_t open() const;
    /// Number of reports of the last poll whose reports are complete, the last but one.
    std::size_t reports_of_a_poll() const;
    /// The largest time by which a request was ahead of a pace of one every 100 ms.
    std::chrono::milliseconds largest_lead() const;
    std::chrono::milliseconds smallest_gap() const;
    /// The first kKeptFaults faults, then the number of further ones.
    std::vector<std::string> faults() const;

    /// Compares the core's value of an object with the state of its bulb. Returns the difference,
    /// or an empty text when they agree within a percent's rounding. With `is_reported` only
    /// reported values count, not those that the core commanded.
    std::string compare(int object, const Json::Value& state, bool is_reported) const;

    static constexpr std::chrono::milliseconds kPace{100};
    static constexpr std::size_t kKeptFaults = 20;

  private:
    struct Exchange {
        std::string request;  // "PUT /lights/3/state {"bri":127}"
        Json::Value answer;
    };
    struct CommandInProgress {
        SoakCommand command;
        std::vector<Exchange> exchanges;
        std::string failure;  // the log line
        std::string refusal;  // the log line with the bridge's reason
    };
    struct Verdict {
        std::size_t Counts::*kind;
        std::string problem;  // empty unless the command is lost
    };
    struct CoreValue {
        std::optional<std::string> reported;
        std::optional<int> commanded;  // since the last report
    };

    // The mutex is held in all of these.
    void begin(const SoakCommand& command);
    /// Settles the commands but the last `kept`.
    void settle(std::size_t kept = 0);
    Verdict judge(const CommandInProgress& done);
    void check_pace(std::chrono::steady_clock::time_point start);
    void close_poll(const std::vector<Core::Report>& reports);
    void take_error(const std::string& text);
    void add_fault(const std::string& fault);

    mutable std::mutex mutex_;  // guards everything
    SoakShadow shadow_{{}};
    Counts counts_;
    std::deque<SoakCommand> waiting_;
    std::deque<CommandInProgress> unsettled_;  // the last one is in progress
    // The answer of a poll. Its reports are known only at the next exchange.
    std::optional<Json::Value> open_poll_;
    bool was_cut_ = false;  // the daemon abandoned the reports of this poll
    std::size_t reports_of_a_poll_ = 0;
    std::map<int, CoreValue> core_values_;
    std::vector<std::string> faults_;
    std::size_t fault_count_ = 0;
    std::optional<std::chrono::steady_clock::time_point> last_start_;
    std::chrono::steady_clock::time_point slot_{};
    std::chrono::steady_clock::duration largest_lead_{};
    std::chrono::steady_clock::duration smallest_gap_ = std::chrono::hours(1);
};

}  // namespace simulator
