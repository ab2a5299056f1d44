/// A long run of the daemon under load: many lights, commands faster than the bridge accepts them,
/// changes at the bulbs and reboots of the bridge. A ledger checks every command.
///
/// Needs a sandbox. One controlling thread.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "simulator/House.h"
#include "simulator/SoakInstallation.h"
#include "simulator/SoakLedger.h"
#include "simulator/process/ProcessUse.h"

namespace simulator {

class Soak final {
  public:
    struct Plan {
        std::string daemon;  ///< path of the program
        int lights = 50;
        std::chrono::seconds duration{3600};  ///< of the load, without the comparison at the end
        unsigned seed = 1;                    ///< the same seed gives the same commands and changes
    };
    using Printer = std::function<void(const std::string& line)>;

    /// Throws std::exception when the house cannot be started.
    Soak(const Plan& plan, Printer printer);

    /// Runs the load for the plan's duration, then compares the core's values, what the daemon
    /// stored and the bulbs. True when they agree, no command was lost and no resource grew.
    bool run();
    /// Sends `commands` commands as fast as they are acknowledged and waits until `awaited` of them
    /// are carried out, in order. If more are left, sends QUIT and expects the log line with the
    /// number of dropped commands.
    bool run_burst(std::size_t commands, std::size_t awaited);

    /// The faults that a finished run found.
    const std::vector<std::string>& faults() const { return faults_; }
    SoakLedger::Counts counts() const { return ledger_.counts(); }

    /// How much the resident memory may grow after the first five minutes.
    static constexpr std::size_t kMemoryToleranceKib = 256;
    /// How far a request may be ahead of a pace of one every 100 ms. On a busy machine a request
    /// that arrives late is followed by a shorter gap.
    static constexpr std::chrono::milliseconds kLeadTolerance{50};

  private:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;

    bool start_daemon();
    void check(bool holds, const std::string& fault);
    int pick(int from, int to);
    Milliseconds pick(Milliseconds from, Milliseconds to);
    bool wait_until(const std::function<bool()>& predicate, Milliseconds limit);

    // The load: Soak.cpp
    void load();
    void burst(Clock::time_point end);
    void drain();
    void run_background_events();
    void command(const SoakCommand& command);
    SoakCommand random_command(Milliseconds& worth);
    void change_a_bulb();
    void step_reboot();

    // The table and the totals: Soak_table.cpp
    void sample();
    void print_row(const ProcessUse& before);
    void check_growth();
    bool finish();

    // The comparison: Soak_truth.cpp
    void compare_truths();
    void wait_for_poll();
    void compare(bool is_reported);
    void change_each(const std::function<Json::Value(const Json::Value& state)>& change);

    // Soak_burst.cpp
    SoakCommand burst_command(std::size_t number) const;
    void send_burst(std::size_t commands);
    void finish_burst(std::size_t left);

    const Plan plan_;
    Printer print_;
    SoakLedger ledger_;
    SoakInstallation installation_;
    House house_;
    std::vector<House::RoleObject> objects_;
    std::vector<int> lights_;
    std::mt19937 random_;
    std::vector<std::string> faults_;
    Clock::time_point start_{};

    enum class Reboot { up, resetting, refusing } reboot_ = Reboot::up;
    int reboots_ = 0;
    Clock::time_point next_change_{};
    Clock::time_point next_reboot_step_{};
    Clock::time_point next_sample_{};
    ProcessUse last_use_;
    ProcessUse settled_use_;  // what later growth is measured against
    bool is_settled_ = false;
    SoakLedger::Counts last_counts_;
    Clock::time_point last_sample_{};
};

}  // namespace simulator
