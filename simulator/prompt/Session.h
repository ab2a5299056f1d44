/// One house with what its commands share: the daemon's faults, the last outputs, the seed.
///
/// The house is built when it is first needed, so that a script can say which one it wants. One
/// controlling thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "simulator/House.h"
#include "simulator/process/FaultShim.h"
#include "simulator/process/ProcessUse.h"
#include "simulator/prompt/Console.h"
#include "simulator/prompt/Language.h"

namespace simulator {

/// A script that this build or machine cannot run; the text says why.
class SkippedScript final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Session final {
  public:
    struct Setup {
        House::Options house;
        std::string shim;                 ///< the library that is loaded into the daemon on demand
        unsigned seed = 0;                ///< 0: no random pauses
        std::string sanitizer;            ///< of this build; empty for none
        Journal::Listener listener = {};  ///< of the house
    };

    /// `is_interrupted` ends every wait.
    Session(const Setup& setup, Console& console, std::function<bool()> is_interrupted);
    ~Session();

    House& house();
    /// Throws CommandError if there is no such object.
    const RoleObject& object(int id);
    bool is_running() { return house().has_daemon() && house().daemon().is_running(); }
    House::Options& options() { return setup_.house; }
    const Setup& setup() const { return setup_; }
    Console& console() { return console_; }
    bool is_interrupted() const { return is_interrupted_(); }

    /// True if `predicate` is true before the limit and no interrupt.
    bool wait_until(const std::function<bool()>& predicate, double seconds);
    void pause(double seconds) {
        wait_until([] { return false; }, seconds);
    }
    std::mt19937& random() { return random_; }

    /// Starts the daemon, by default until it has polled. Remembers its use of resources.
    void start(const ChildProcess::Words& arguments = {}, bool awaits_poll = true);
    /// Loads the library that shifts the clock and raises signals into later daemons.
    void load_shim();
    FaultShim& shim();
    /// Ends every fault.
    void recover();
    /// Sends the next of a mixture of brightnesses and colours, all different. Returns the
    /// milliseconds until the acknowledgement, or -1 without one.
    int ask();

    /// The judgement at the end of a script, without the parts in `without`. Prints what is wrong;
    /// false if anything is.
    bool judge();
    /// The parts that a script can do without.
    static const std::vector<std::string>& parts();

    // What the commands leave for each other.
    std::set<std::string> without;
    std::optional<std::string> printed;  ///< output of the last huectl, lumivad or shell
    std::string ended;                   ///< how the last lumivad ended
    std::string parameters;              ///< the last ones that huectl printed
    std::vector<FileDescriptor> peers;   ///< silent connections to the daemon
    int connections_before = 0;          ///< to the bridge, before its last fault
    std::optional<ProcessUse> sampled;   ///< by the first sample
    std::size_t heading = 0;             ///< index of the first event after the last heading
    std::size_t reports_before = 0;      ///< the last heading
    bool expects_end = false;            ///< the daemon was to end
    bool is_over = false;                ///< after quit
    std::set<std::string> used;          ///< forms that were run

  private:
    void judge_change();
    void judge_commands();
    bool is_commanded(const RoleObject& object);
    void judge_account();
    void judge_agreement();
    void judge_resources();
    void await(const std::string& part, const std::string& what,
               const std::function<bool()>& predicate);
    void verify(const std::string& part, bool holds, const std::string& what);

    Setup setup_;
    Console& console_;
    std::function<bool()> is_interrupted_;
    std::mt19937 random_;
    std::unique_ptr<House> house_;
    FaultShim* shim_ = nullptr;
    std::vector<RoleObject> mixture_;
    std::size_t asked_ = 0;
    std::optional<ProcessUse> use_;  // of the daemon before the first fault
    bool is_good_ = true;            // the judgement so far
};

/// A line of a script: what its slots hold, and where it is run.
struct Call final : Slots {
    Call(Session& its_session, const Slots& slots) : Slots(slots), session(its_session) {}
    House& house() const { return session.house(); }
    Bridge& bridge() const { return house().bridge(); }
    Core& core() const { return house().core(); }
    Ledger& ledger() const { return house().ledger(); }
    Bulb light() const { return house().light(number("LIGHT")); }
    void print(const std::string& line) const { session.console().print(line); }

    Session& session;
};

/// One form of the language and what it does.
struct Command {
    const char* form;
    const char* meaning;
    void (*run)(const Call&);
    /// Finds what can never hold, before the script runs; may be null.
    void (*check)(const Call&) = nullptr;
    /// Belongs before all other commands and is run when the script is read.
    bool is_declaration = false;
};

/// Throws CommandError unless the light's state has the field and, for a number, its range the
/// value.
void check_field(const Call& call, const std::string& field, const std::string& value);

/// By subject.
std::vector<Command> house_commands();
std::vector<Command> fault_commands();
std::vector<Command> expect_commands();
/// The language.
std::vector<Command> all_commands();

}  // namespace simulator
