/// A long life of a house in one run: many lights, commands faster than the bridge may be driven,
/// changes at the bulbs, a bridge that reboots, and accounts of all of it at the end.
///
/// Stands in a sandbox. Belongs to one thread, that of the program or the test.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "simulator/House.h"
#include "simulator/ProcessUse.h"
#include "simulator/SoakInstallation.h"
#include "simulator/SoakLedger.h"

namespace simulator {

class Soak final {
  public:
    struct Plan {
        std::string daemon;  ///< path of the program
        int lights = 50;
        std::chrono::seconds duration{3600};  ///< of the load; the comparison comes on top
        unsigned seed = 1;                    ///< the same seed gives the same commands and changes
    };
    using Printer = std::function<void(const std::string& line)>;

    /// Throws std::exception when the house cannot stand.
    Soak(const Plan& plan, Printer printer);

    /// Loads the house for the plan's duration, then compares what the core holds, what the daemon
    /// stored and what the bulbs show. True when they agree, nothing was lost and nothing grew.
    bool run();
    /// Sends so many commands as fast as they are answered and waits until `awaited` of them are
    /// carried out, in order. When more are left, QUIT has to say in the log how many it dropped.
    bool run_burst(std::size_t commands, std::size_t awaited);

    /// What was wrong, once a run is over.
    const std::vector<std::string>& faults() const { return faults_; }
    SoakLedger::Counts counts() const { return ledger_.counts(); }

    /// What the resident memory may rise after its first five minutes.
    static constexpr std::size_t kMemoryToleranceKib = 256;
    /// How far a request may be ahead of one every 100 ms: one that was late on its way, on a busy
    /// machine, leaves the next a shorter gap.
    static constexpr std::chrono::milliseconds kLeadTolerance{50};

  private:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;

    bool comes_up();
    void check(bool holds, const std::string& fault);
    int pick(int from, int to);
    Milliseconds pick(Milliseconds from, Milliseconds to);
    bool waits_for(const std::function<bool()>& predicate, Milliseconds limit);

    // The load: Soak.cpp
    void load();
    void burst(Clock::time_point end);
    void quiet();
    void live_on();
    void command(const SoakCommand& command);
    SoakCommand random_command(Milliseconds& worth);
    void change_a_bulb();
    void go_on_with_reboot();

    // The table and the accounts: Soak_table.cpp
    void sample();
    void print_row(const ProcessUse& before);
    void judge_growth();
    bool is_over();

    // The comparison: Soak_truth.cpp
    void compare_truths();
    void wait_for_poll();
    void compare(bool is_told);
    void change_each(const std::function<Json::Value(const Json::Value& state)>& change);

    // Soak_burst.cpp
    SoakCommand burst_command(std::size_t number) const;
    void send_burst(std::size_t commands);
    void end_burst(std::size_t left);

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
