/// The accounts of a soak: for each command of the core what became of it, and for each poll
/// whether the core was told what it had to be told.
///
/// A command is settled by what the daemon said to the bridge and wrote to the log while it carried
/// it out. Thread-safe; the conductor, the bridge's and the log's threads tell it what they see, in
/// the order in which the daemon does it.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "simulator/Core.h"
#include "simulator/Gate.h"
#include "simulator/House.h"
#include "simulator/SoakShadow.h"

namespace simulator {

class SoakLedger final {
  public:
    struct Counts {
        std::size_t sent = 0;
        std::size_t acknowledged = 0;
        // What became of them; these and what waits make up those that were sent.
        std::size_t carried_out = 0;  ///< the bridge was asked for it and confirmed it
        std::size_t needless = 0;     ///< the light showed it already
        std::size_t failed = 0;       ///< has its line in the log
        std::size_t refused = 0;      ///< a colour for a light turned off; has its line too
        std::size_t dropped = 0;      ///< counted in the log at the end
        std::size_t lost = 0;         ///< none of these
        std::size_t requests = 0;     ///< to the bridge
        std::size_t polls = 0;
        std::size_t reports = 0;
        std::size_t log_lines = 0;
    };

    /// Before the daemon starts.
    void knows(const std::vector<House::RoleObject>& objects);

    /// @name What happens
    /// @{
    void sends(const SoakCommand& command);
    void is_acknowledged();
    /// One line of the daemon, with "error: " or "info: " before it.
    void takes_line(const std::string& text);
    /// One request and its answer; `told`: what was reported since the one before.
    void takes_exchange(const Gate::Request& request, const std::string& answer,
                        const std::vector<Core::Report>& told);
    /// Settles the command under way: the daemon carries out no more.
    void ends();
    /// @}

    Counts counts() const;
    /// Commands that wait or are not settled yet.
    std::size_t open() const;
    /// Reports that followed the last poll but one, the last whose reports are all there.
    std::size_t reports_of_a_poll() const;
    /// How far the requests were ahead of one every 100 ms, at most.
    std::chrono::milliseconds largest_lead() const;
    std::chrono::milliseconds smallest_gap() const;
    /// What was wrong: the first kKeptFaults, and a count behind them.
    std::vector<std::string> faults() const;

    /// What the core holds of an object against the state of its bulb; empty when they agree, which
    /// is within a percent's rounding. `is_told`: what was reported counts, what the core itself
    /// commanded does not.
    std::string compare(int object, const Json::Value& state, bool is_told) const;

    static constexpr std::chrono::milliseconds kPace{100};
    static constexpr std::size_t kKeptFaults = 20;

  private:
    struct Exchange {
        std::string request;  // "PUT /lights/3/state {"bri":127}"
        Json::Value answer;
    };
    struct UnderWay {
        SoakCommand command;
        std::vector<Exchange> exchanges;
        std::string failure;  // its line in the log
        std::string refusal;  // the line with the bridge's own reason
    };
    struct Verdict {
        std::size_t Counts::*kind;
        std::string problem;  // empty unless the command is lost
    };
    struct Belief {
        std::optional<std::string> told;
        std::optional<int> commanded;  // since it was told
    };

    // The mutex is held in all of these.
    void begin(const SoakCommand& command);
    /// Settles the commands but the last `kept`.
    void settle(std::size_t kept = 0);
    Verdict judge(const UnderWay& done);
    void keep_pace(std::chrono::steady_clock::time_point start);
    void close_poll(const std::vector<Core::Report>& told);
    void take_error(const std::string& text);
    void note(const std::string& fault);

    mutable std::mutex mutex_;  // guards everything
    SoakShadow shadow_{{}};
    Counts counts_;
    std::deque<SoakCommand> waiting_;
    std::deque<UnderWay> unsettled_;  // the last one is under way
    // Its answer. What was reported after it is known with the next exchange.
    std::optional<Json::Value> open_poll_;
    bool was_cut_ = false;  // the daemon gave up on the core in this poll
    std::size_t reports_of_a_poll_ = 0;
    std::map<int, Belief> beliefs_;
    std::vector<std::string> faults_;
    std::size_t fault_count_ = 0;
    std::optional<std::chrono::steady_clock::time_point> last_start_;
    std::chrono::steady_clock::time_point slot_{};
    std::chrono::steady_clock::duration largest_lead_{};
    std::chrono::steady_clock::duration smallest_gap_ = std::chrono::hours(1);
};

}  // namespace simulator
