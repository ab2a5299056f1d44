/// One fault in one house: the real daemon, commands and changes that go on meanwhile, and what a
/// user saw, what the log said and what was lost of them.
///
/// The rows of the fault matrix are written in its verbs; the tests run each once, the program
/// torture again and again at random moments. One controlling thread.
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
#include "simulator/ProcessUse.h"

class Trial final {
  public:
    using Milliseconds = std::chrono::milliseconds;
    using Clock = std::chrono::steady_clock;

    struct Setup {
        std::string daemon;
        std::string shim;          ///< the library that goes into the daemon; empty for none
        unsigned seed = 0;         ///< 0: no random pauses
        bool is_thorough = false;  ///< afterwards a bulb's change is waited for too
    };
    /// What was observed, for a person, and what was not as it must be.
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

    /// @name The course of a trial
    /// @{
    /// Starts the daemon; it must come up and read every light.
    void start(bool has_log = true);
    /// Starts the daemon, which must give up: status -1, exit code 1.
    void expect_start_failure();
    /// Sends so many commands, each of which must be answered within `limit`.
    void send_commands(int count, Milliseconds limit = kAnswerLimit);
    /// The same, but they need not be answered, nor in time.
    void send_unchecked(int count);
    /// A light changes past the daemon; the core is to hear of it, or the log to say that it did
    /// not.
    void change_bulb();
    /// The daemon ends by itself, within `limit`, with this ("exit code 1").
    void expect_exit(const std::string& how, Milliseconds limit);
    /// The same at the stroke of a signal, which leaves it no time to say which commands go with
    /// it.
    void expect_killed(const std::string& how, Milliseconds limit);
    /// In a trial at random, a pause of up to `longest`; otherwise none.
    void random_pause(Milliseconds longest = Milliseconds(1500));
    /// Waits for what must come.
    void wait_until(const std::string& what, const std::function<bool()>& predicate,
                    Milliseconds limit = kLimit);
    void wait_for_log(const std::string& part, Milliseconds limit = kLimit);
    /// Every acknowledged command has been carried out, or has its line.
    void wait_until_settled();
    void expect(bool holds, const std::string& what);
    /// Something that a user sees.
    void note(const std::string& what) { finding_.user_sees.push_back(what); }
    /// @}

    /// Ends every fault; the next command of each kind must then be carried out. Accounts for the
    /// others, looks for what the daemon has left open, and stops it, which must follow.
    Finding finish();
    /// What everybody in the house said, for a trial that failed.
    std::string transcript() { return house_->journal().transcript(); }

    /// Any number from 0 to `highest`, the same for the same seed.
    int random(int highest);
    bool is_random() const { return setup_.seed != 0; }
    /// What the library in the daemon is told.
    FaultShim& shim() { return *shim_; }
    /// For a daemon beside the house's own.
    const std::string& daemon_path() const { return setup_.daemon; }
    const std::vector<std::string>& environment() const { return environment_; }
    int polls() { return bridge().count("GET", "/lights"); }

    static constexpr Milliseconds kAnswerLimit{1000};
    // Longer than a poll and the quiet time behind a command, on a busy machine.
    static constexpr std::chrono::seconds kLimit{25};

  private:
    void load_shim();
    std::string check_next_commands();  // what the user sees of them
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
    bool has_ended_ = false;          // before its time
    bool may_lose_commands_ = false;  // commands, without a line
    simulator::ProcessUse use_;       // by the daemon, before the fault
};

/// "0.3 s" or "12 ms".
std::string text_of(std::chrono::milliseconds duration);
