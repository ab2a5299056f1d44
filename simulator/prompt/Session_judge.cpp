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
        verify("exit", house().stop() == 0, "the daemon did not exit with 0 on SIGTERM");
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
    const auto is_known = [&] { return house().ledger().known_on(found->light).has_value(); };
    wait_until(is_known, without.count("change") == 0 ? kSeconds : 0);  // not after a failure
    if (without.count("change") == 0 && light.is_on() == house().ledger().known_on(found->light)) {
        light.turn(!light.is_on());  // else an earlier change is to come
    }
    const std::string wanted = light.is_on() ? "1" : "0";
    judge_commands();
    await("change", "the change of a light was not reported",
          [&] { return house().ledger().value(found->id) == wanted; });
}

// The next command of every kind is carried out; the switches come first.
void Session::judge_commands() {
    std::map<std::string, RoleObject> by_role;  // the last of each
    for (const RoleObject& object : house().objects()) {
        by_role[object.role == "on_off" ? "" : object.role] = object;
    }
    for (const auto& [role, object] : by_role) {
        if (without.count("commands") == 0 && !is_commanded(object)) {
            return verify("commands", false,
                          "the next command is not carried out: object " +
                              std::to_string(object.id) + ", " + object.role);
        }
    }
}

// A light that is off refuses colours, and some colours switch it off: it is switched on first. The
// daemon may not know whether it is on, so one of two switches is needless.
bool Session::is_commanded(const RoleObject& object) {
    const auto send = [this](int id, const std::string& value) {
        return house().command(id, value) == 0;
    };
    const bool is_switch = object.role == "on_off";
    bool is_sent = is_switch || house().light(object.light).is_on();
    for (const RoleObject& other : house().objects()) {
        if (is_switch ? other.id == object.id
                      : !is_sent && other.role == "on_off" && other.light == object.light) {
            is_sent = send(other.id, "0") && send(other.id, "1");
        }
    }
    return is_sent && (is_switch || send(object.id, other_value(house(), object))) &&
           wait_until(
               [this] {
                   return house().ledger().last_commands(1).front().outcome ==
                          Ledger::Outcome::done;
               },
               kSeconds);
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
