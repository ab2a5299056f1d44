// A burst: more commands at once than the bridge accepts in hours.
#include <algorithm>
#include <cstdio>

#include "simulator/Soak.h"

namespace simulator {
namespace {

constexpr std::chrono::seconds kDrainLimit{30};
constexpr std::chrono::milliseconds kForACommand{500};  // a GET and a PUT, on a busy machine
constexpr std::size_t kBetweenForgetting = 1000;
constexpr int kPercents = 100;

}  // namespace

bool Soak::run_burst(std::size_t commands, std::size_t awaited) {
    if (!start_daemon()) {
        return finish();
    }
    const ProcessUse before = ProcessUse::at_rest(house_.daemon().pid());
    send_burst(commands);
    const ProcessUse after = ProcessUse::at_rest(house_.daemon().pid());
    char text[160];
    std::snprintf(text, sizeof(text),
                  "resident memory: %zu KiB before, %zu KiB after, %zu KiB peak; %zu and %zu "
                  "descriptors",
                  before.resident_kib, after.resident_kib, after.peak_kib, before.descriptors,
                  after.descriptors);
    print_(text);
    check(after.descriptors <= before.descriptors, "descriptors were left open");
    const std::size_t open = ledger_.open();
    finish_burst(commands > awaited ? open - std::min(open, awaited) : 0);
    return finish();
}

// One light after the other, one percent more in each round: no command repeats the value of the
// one before it, and the last command for a light differs from all earlier ones.
SoakCommand Soak::burst_command(std::size_t number) const {
    std::vector<int> values;
    for (const House::RoleObject& object : objects_) {
        if (object.role == "value") {
            values.push_back(object.id);
        }
    }
    const auto round = static_cast<int>(number / values.size());
    return {values[number % values.size()], 1 + round % kPercents};
}

void Soak::send_burst(std::size_t commands) {
    const auto start = Clock::now();
    for (std::size_t i = 0; i < commands; ++i) {
        command(burst_command(i));
        if (i % kBetweenForgetting == 0) {
            house_.forget();
        }
    }
    const double took = std::chrono::duration<double>(Clock::now() - start).count();
    char text[160];
    std::snprintf(
        text, sizeof(text),
        "%zu commands, %zu acknowledged, in %.1f s: %.0f a second; %zu carried out so far",
        commands, ledger_.counts().acknowledged, took, static_cast<double>(commands) / took,
        ledger_.counts().carried_out);
    print_(text);
}

void Soak::finish_burst(std::size_t left) {
    const auto limit = kDrainLimit + kForACommand * (ledger_.open() - left);
    check(wait_until([&] { return ledger_.open() <= left; }, limit),
          "the queue was not carried out in time");
    if (left > 0) {
        check(house_.core().quit() == 0, "QUIT was not acknowledged");
        check(wait_until([this] { return ledger_.counts().dropped > 0; }, kDrainLimit),
              "the log does not say how many commands were dropped");
        ledger_.finish();
    }
    for (const House::RoleObject& object : objects_) {
        if (object.role == "value") {
            const std::string difference =
                ledger_.compare(object.id, house_.light(object.light).state(), false);
            check(difference.empty(), difference);
        }
    }
    const auto ending = house_.stop();
    check(ending && ending->is_success(), "the daemon did not exit with 0 on SIGTERM");
}

}  // namespace simulator
