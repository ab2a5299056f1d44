/// One fault in one house with the real daemon: sends commands and changes bulbs meanwhile, and
/// checks what the user sees, what is logged and what is lost.
///
/// The rows of the fault matrix consist of its calls. finish() ends the fault and makes the checks
/// that every row needs. One controlling thread.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "FaultShim.h"
#include "Ledger.h"
#include "simulator/House.h"
#include "simulator/process/ProcessUse.h"

class Trial final {
  public:
    using Milliseconds = std::chrono::milliseconds;
    using Clock = std::chrono::steady_clock;

    struct Setup {
        std::string daemon;
        std::string shim;          ///< the library loaded into the daemon; empty for none
        unsigned seed = 0;         ///< 0: no random pauses
        bool is_thorough = false;  ///< finish() always checks a change at a bulb
    };
    /// The observations for the table, and what failed.
    struct Finding {
        std::vector<std::string> user_sees;
        std::vector<std::string> log_says;
        std::string lost;
        std::vector<std::string> problems;
    };

    explicit Trial(const Setup& setup);
    ~Trial();
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    simulator::House& house() { return *house_; }
    simulator::Bridge& bridge() { return house_->bridge(); }
    simulator::Core& core() { return house_->core(); }
    simulator::DatabaseService& database() { return house_->database(); }
    simulator::SystemLog& log() { return *house_->log(); }

    /// @name Steps
    /// @{
    /// Starts the daemon; expects that it reads every light and polls.
    void start(bool has_log = true);
    /// Starts the daemon; expects status -1 and exit code 1.
    void expect_start_failure();
    /// Sends `count` commands; expects an answer to each within `limit`.
    void send_commands(int count, Milliseconds limit = kAnswerLimit);
    /// Sends `count` commands; expects that none is carried out and each has a log line, one of
    /// which contains `line`.
    void expect_failures(int count, const std::string& line);
    /// Sends commands that may stay without an answer.
    void send_unchecked(int count);
    /// Changes a bulb. finish() then expects the report, or its log line and the report of the next
    /// change.
    void change_bulb();
    /// Expects that the daemon ends within `limit` with `how` ("exit code 1").
    void expect_exit(const std::string& how, Milliseconds limit);
    /// The same after a signal that leaves no time to log the lost commands.
    void expect_killed(const std::string& how, Milliseconds limit);
    /// Pauses for a random time up to `longest` in a random trial; otherwise does nothing.
    void random_pause(Milliseconds longest = Milliseconds(1500));
    /// Waits for `predicate`; it is a failure if it stays false.
    void wait_until(const std::string& what, const std::function<bool()>& predicate,
                    Milliseconds limit = kLimit);
    void wait_for_log(const std::string& part, Milliseconds limit = kLimit);
    /// Waits until every acknowledged command is carried out or has its log line.
    void wait_until_settled();
    void expect(bool holds, const std::string& what);
    /// Adds something that the user sees to the table.
    void note(const std::string& what) { finding_.user_sees.push_back(what); }
    /// @}

    /// Ends every fault. Then checks that the next command of each kind is carried out, that each
    /// earlier one was or has its log line, that a bulb's change is reported (if change_bulb() was
    /// called), that descriptors and threads are back, and that the daemon follows SIGTERM.
    Finding finish();
    /// The events of the house, for a failed trial.
    std::string transcript() { return house_->journal().transcript(); }

    /// A number from 0 to `highest` that depends on the seed.
    int random(int highest);
    bool is_random() const { return setup_.seed != 0; }
    /// Controls the library in the daemon.
    FaultShim& shim() { return *shim_; }
    /// For a second daemon.
    const std::string& daemon_path() const { return setup_.daemon; }
    const std::vector<std::string>& environment() const { return environment_; }
    int polls() { return bridge().count("GET", "/lights"); }

    static constexpr Milliseconds kAnswerLimit{1000};
    // Longer than a poll and the pause after a command, on a busy machine.
    static constexpr std::chrono::seconds kLimit{25};

  private:
    void load_shim();
    std::string check_next_commands();  // returns what the user sees
    void check_bulb();
    void check_resources();
    void check_account(const Ledger::Account& account);
    void summarize_log();
    std::size_t failed_reports() const;

    Setup setup_;
    std::mt19937 generator_;
    std::vector<std::string> environment_;  // of the daemon
    FaultShim* shim_ = nullptr;
    std::unique_ptr<simulator::House> house_;
    Ledger ledger_;
    Finding finding_;
    bool bulb_is_on_ = false;
    std::size_t bulb_changes_ = 0;
    bool has_ended_ = false;          // before finish()
    bool may_lose_commands_ = false;  // without a log line
    simulator::ProcessUse use_;       // of the daemon before the fault
};

/// "0.3 s" or "12 ms".
std::string text_of(std::chrono::milliseconds duration);
