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
    void starts(bool has_log = true);
    /// Starts the daemon, which must give up: status -1, exit code 1.
    void fails_to_start();
    /// Sends so many commands, each of which must be answered within `limit`.
    void asks(int count, Milliseconds limit = kAnswerLimit);
    /// The same, but they need not be answered, nor in time.
    void tries_to_ask(int count);
    /// A light changes past the daemon; the core is to hear of it, or the log to say that it did
    /// not.
    void changes_a_bulb();
    /// The daemon ends by itself, within `limit`, with this ("exit code 1").
    void ends(const std::string& how, Milliseconds limit);
    /// The same at the stroke of a signal, which leaves it no time to say which commands go with
    /// it.
    void is_struck_down(const std::string& how, Milliseconds limit);
    /// In a trial at random, a pause of up to `longest`; otherwise none.
    void pauses(Milliseconds longest = Milliseconds(1500));
    /// Waits for what must come.
    void awaits(const std::string& what, const std::function<bool()>& predicate,
                Milliseconds limit = kLimit);
    void awaits_log(const std::string& part, Milliseconds limit = kLimit);
    /// Every acknowledged command has been carried out, or has its line.
    void awaits_settled();
    void requires_that(bool holds, const std::string& what);
    /// Something that a user sees.
    void sees(const std::string& what) { finding_.user_sees.push_back(what); }
    /// @}

    /// Ends every fault; the next command of each kind must then be carried out. Accounts for the
    /// others, looks for what the daemon has left open, and stops it, which must follow.
    Finding concludes();
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
    void checks_bulb();
    void checks_use();
    void settles_accounts(const Ledger::Account& account);
    void reads_log();
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
    bool has_ended_ = false;     // before its time
    bool may_lose_ = false;      // commands, without a line
    simulator::ProcessUse use_;  // by the daemon, before the fault
};

/// "0.3 s" or "12 ms".
std::string text_of(std::chrono::milliseconds duration);
