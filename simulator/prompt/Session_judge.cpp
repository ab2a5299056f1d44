// The judgement at the end of a script.
#include <algorithm>
#include <cstdint>

#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

// Longer than a request that hangs, and than a poll and the pause after a command on a busy
// machine.
constexpr double kSeconds = 60;
constexpr std::size_t kShownProblems = 5;

// A value that the light does not have yet.
std::string other_value(House& house, const RoleObject& object) {
    const Conversions& conversions = house.ledger().conversions();
    const auto shown = conversions.reported(object.role, house.light(object.light).state());
    const auto payloads = conversions.payloads(object.role);
    return payloads.back() != shown ? payloads.back() : payloads.front();
}

}  // namespace

const std::vector<std::string>& Session::parts() {
    static const std::vector<std::string> kParts = {"commands", "change",    "lines", "agreement",
                                                    "pace",     "resources", "exit"};
    return kParts;
}

void Session::verify(const std::string& part, bool holds, const std::string& what) {
    if (!holds && without.count(part) == 0) {
        console_.print("!! " + what);
        is_good_ = false;
    }
}

void Session::await(const std::string& part, const std::string& what,
                    const std::function<bool()>& predicate) {
    verify(part, without.count(part) != 0 || wait_until(predicate, kSeconds), what);
}

bool Session::judge() {
    recover();
    if (house().log() == nullptr) {
        return true;
    }
    console_.print("\n== The judgement");
    try {
        if (!is_running()) {
            house().log()->sync();
            house().ledger().start_daemon();  // what is not settled yet is lost
            verify("exit", !house().has_daemon() || expects_end, "the daemon ended unexpectedly");
            judge_account();
            start();
        }
        judge_change();
        judge_account();
        judge_agreement();
        judge_resources();
        const auto ending = house().stop();
        verify("exit", ending && ending->is_success(), "the daemon did not exit with 0 on SIGTERM");
    } catch (const CommandError& problem) {
        verify("", false, problem.what());
    }
    return is_good_ && !is_interrupted_();
}

// A light is changed first, so that one poll shows both: the poll waits for a pause of the
// commands.
void Session::judge_change() {
    const auto& objects = house().objects();
    const auto found = std::find_if(objects.begin(), objects.end(),
                                    [](const auto& object) { return object.role == "on_off"; });
    require(found != objects.end(), "the installation has no object for on and off");
    house().ledger().forget_value(found->id);
    Bulb light = house().light(found->light);
    if (without.count("change") == 0 && light.is_on() == house().ledger().known_on(found->light)) {
        light.is_on() ? light.turn_off() : light.turn_on();  // else an earlier change is to come
    }
    const std::string wanted = light.is_on() ? "1" : "0";
    judge_commands();
    await("change", "the change of a light was not reported",
          [&] { return house().ledger().value(found->id) == wanted; });
}

// The next command of every kind is carried out.
void Session::judge_commands() {
    std::map<std::string, RoleObject> by_role;  // the last of each; "" is on_off, the first
    std::map<int, int> switches;                // by light
    for (const RoleObject& object : house().objects()) {
        const bool is_switch = object.role == "on_off";
        by_role[is_switch ? "" : object.role] = object;
        if (is_switch) {
            switches[object.light] = object.id;
        }
    }
    for (auto at = by_role.begin(); at != by_role.end() && without.count("commands") == 0; ++at) {
        const auto& [role, object] = *at;
        std::vector<std::pair<int, std::string>> commands;
        // A light that is off refuses colours, and some colours switch it off. The daemon may not
        // know whether it is on, so one of two switches is needless.
        if ((role.empty() || !house().light(object.light).is_on()) &&
            switches.count(object.light) != 0) {
            commands = {{switches[object.light], "0"}, {switches[object.light], "1"}};
        }
        if (!role.empty()) {
            commands.emplace_back(object.id, other_value(house(), object));
        }
        const bool are_sent = std::all_of(
            commands.begin(), commands.end(), [this](const std::pair<int, std::string>& command) {
                return house().command(command.first, command.second) == 0;
            });
        const auto is_done = [this] {
            return house().ledger().last_commands(1).front().outcome == Ledger::Outcome::done;
        };
        if (!are_sent || !wait_until(is_done, kSeconds)) {
            return verify("commands", false,
                          "the next command is not carried out: object " +
                              std::to_string(object.id) + ", " + object.role);
        }
    }
}

void Session::judge_account() {
    Ledger& ledger = house().ledger();
    await("lines", "commands are still waiting",
          [&] { return ledger.count(Ledger::Outcome::waiting) == 0; });
    const Ledger::Counts counts = ledger.counts();
    console_.print("commands: " + ledger.account() + "; " + std::to_string(counts.requests) +
                   " requests, smallest gap " + std::to_string(counts.smallest_gap.count()) +
                   " ms, at most " + std::to_string(counts.largest_lead.count()) + " ms early; " +
                   std::to_string(counts.polls) + " polls, " + std::to_string(counts.reports) +
                   " reports");
    std::size_t shown = 0;
    for (const Ledger::Command& command : ledger.last_commands(SIZE_MAX)) {
        if (command.outcome == Ledger::Outcome::lost && command.is_acknowledged &&
            shown++ < kShownProblems) {
            verify("lines", false,
                   "lost: object " + std::to_string(command.object) + ": " + command.payload +
                       ", " + command.reason);
        }
    }
    for (const std::string& problem : ledger.problems()) {
        verify("", false, problem);
    }
    verify("pace", counts.early_polls == 0 && counts.largest_lead <= Ledger::kLeadTolerance,
           "requests or polls come too early");
}

void Session::judge_agreement() {
    wait_until([this] { return house().differences().empty(); }, kSeconds / 4);
    for (const std::string& difference : house().differences()) {
        verify("agreement", false, difference);
    }
}

// Descriptors and threads that are left behind add up to an end of service.
void Session::judge_resources() {
    if (!use_) {
        return;
    }
    const std::string what = "more than " + std::to_string(use_->descriptors) + " descriptors or " +
                             std::to_string(use_->threads) + " threads are in use";
    await("resources", what, [this] {
        const ProcessUse now = ProcessUse::of(house().daemon().pid());
        return now.descriptors <= use_->descriptors && now.threads <= use_->threads;
    });
}

}  // namespace simulator
