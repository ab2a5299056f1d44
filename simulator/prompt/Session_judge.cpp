// The judgement at the end of a script.
#include <algorithm>

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
    if (object.role == "on_off") {
        return "1";
    }
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

bool Session::complain(const std::string& part, const std::string& what) {
    if (without.count(part) != 0) {
        return true;
    }
    console_.print("!! " + what);
    return false;
}

bool Session::await(const std::string& part, const std::function<bool()>& predicate,
                    const std::string& what) {
    return without.count(part) != 0 || wait_until(predicate, kSeconds) || complain(part, what);
}

bool Session::judge() {
    recover();
    if (house().log() == nullptr) {
        return true;
    }
    console_.print("\n== The judgement");
    bool is_good = true;
    try {
        const bool has_ended = !house().has_daemon() || !house().daemon().is_running();
        if (has_ended) {
            house().log()->sync();
            house().ledger().start_daemon();  // what is not settled yet is lost
            is_good = !house().has_daemon() || expects_end ||
                      complain("exit", "the daemon ended unexpectedly");
            is_good = judge_account() && is_good;
            start();
        }
        is_good = judge_change() && is_good;
        is_good = judge_account() && is_good;
        is_good = judge_agreement() && is_good;
        is_good = judge_resources() && is_good;
        is_good = (house().stop() == 0 ||
                   complain("exit", "the daemon did not exit with 0 on SIGTERM")) &&
                  is_good;
    } catch (const CommandError& problem) {
        is_good = complain("", problem.what());
    }
    return is_good && !is_interrupted_();
}

// A light is changed first, so that one poll shows both: the poll waits for a pause of the
// commands.
bool Session::judge_change() {
    RoleObject bulb{};
    for (const RoleObject& object : house().objects()) {
        if (bulb.id == 0 && object.role == "on_off") {
            bulb = object;
        }
    }
    house().ledger().forget_value(bulb.id);
    Bulb light = house().light(bulb.light);
    if (without.count("change") == 0 && light.is_on() == house().ledger().known_on(bulb.light)) {
        light.turn(!light.is_on());  // else an earlier change is to come
    }
    const std::string wanted = light.is_on() ? "1" : "0";
    const bool is_good = judge_commands();
    return await(
               "change", [&] { return house().ledger().value(bulb.id) == wanted; },
               "the change of a light was not reported") &&
           is_good;
}

bool Session::judge_commands() {
    if (without.count("commands") != 0) {
        return true;
    }
    // The last of each. The light is switched on first: one that is off refuses colours.
    std::map<std::string, RoleObject> by_role;
    for (const RoleObject& object : house().objects()) {
        by_role[object.role == "on_off" ? "" : object.role] = object;
    }
    const auto done = [this] { return house().ledger().counts().done; };
    for (const auto& [role, object] : by_role) {
        const std::size_t before = done();
        // The daemon may not know yet whether the light is on, so one of two switches is needless.
        const bool is_sent = (object.role != "on_off" || house().command(object.id, "0") == 0) &&
                             house().command(object.id, other_value(house(), object)) == 0;
        if (!is_sent || !wait_until([&] { return done() > before; }, kSeconds)) {
            return complain("commands", "the next command is not carried out: object " +
                                            std::to_string(object.id) + ", " + object.role);
        }
    }
    return true;
}

bool Session::judge_account() {
    Ledger& ledger = house().ledger();
    bool is_good = await(
        "lines", [&] { return ledger.counts().waiting == 0; }, "commands are still waiting");
    const Ledger::Counts counts = ledger.counts();
    console_.print(
        "commands: " + std::to_string(counts.sent) + " sent, " +
        std::to_string(counts.acknowledged) + " acknowledged = " + std::to_string(counts.done) +
        " carried out + " + std::to_string(counts.needless) + " needless + " +
        std::to_string(counts.failed) + " failed, logged + " + std::to_string(counts.dropped) +
        " dropped, logged + " + std::to_string(counts.lost) + " lost; " +
        std::to_string(counts.requests) + " requests, smallest gap " +
        std::to_string(counts.smallest_gap.count()) + " ms, at most " +
        std::to_string(counts.largest_lead.count()) + " ms early; " + std::to_string(counts.polls) +
        " polls, " + std::to_string(counts.reports) + " reports");
    std::size_t shown = 0;
    for (const Ledger::Command& command : ledger.last_commands(counts.sent)) {
        if (command.outcome == Ledger::Outcome::lost && command.is_acknowledged &&
            shown++ < kShownProblems) {
            is_good = complain("lines", "lost: object " + std::to_string(command.object) + ": " +
                                            command.payload + ", " + command.reason) &&
                      is_good;
        }
    }
    for (const std::string& problem : ledger.problems()) {
        is_good = complain("", problem) && is_good;
    }
    if (counts.early_polls > 0 || counts.largest_lead > Ledger::kLeadTolerance) {
        is_good = complain("pace", "requests or polls come too early") && is_good;
    }
    return is_good;
}

bool Session::judge_agreement() {
    wait_until([this] { return house().differences().empty(); }, kSeconds / 4);
    bool is_good = true;
    for (const std::string& difference : house().differences()) {
        is_good = complain("agreement", difference) && is_good;
    }
    return is_good;
}

// Descriptors and threads that are left behind add up to an end of service.
bool Session::judge_resources() {
    if (!use_) {
        return true;
    }
    const auto is_back = [this] {
        const ProcessUse now = ProcessUse::of(house().daemon().pid());
        return now.descriptors <= use_->descriptors && now.threads <= use_->threads;
    };
    return await("resources", is_back,
                 "more than " + std::to_string(use_->descriptors) + " descriptors or " +
                     std::to_string(use_->threads) + " threads are in use");
}

}  // namespace simulator
