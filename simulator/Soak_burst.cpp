// A burst: more commands at once than the bridge may be driven with in hours.
#include <algorithm>
#include <cstdio>

#include "simulator/Soak.h"

namespace simulator {
namespace {

constexpr std::chrono::seconds kPatience{30};
constexpr std::chrono::milliseconds kForACommand{500};  // asking and changing, on a busy machine
constexpr std::size_t kBetweenForgetting = 1000;
constexpr int kPercents = 100;

}  // namespace

bool Soak::run_burst(std::size_t commands, std::size_t awaited) {
    if (!comes_up()) {
        return is_over();
    }
    const ProcessUse before = ProcessUse::at_rest(house_.daemon().pid());
    send_burst(commands);
    const ProcessUse behind = ProcessUse::at_rest(house_.daemon().pid());
    char text[160];
    std::snprintf(
        text, sizeof(text),
        "resident memory: %zu KiB before, %zu KiB behind, %zu KiB at the peak; %zu and %zu "
        "descriptors",
        before.resident_kib, behind.resident_kib, behind.peak_kib, before.descriptors,
        behind.descriptors);
    print_(text);
    check(behind.descriptors <= before.descriptors, "descriptors are left open");
    const std::size_t open = ledger_.open();
    end_burst(commands > awaited ? open - std::min(open, awaited) : 0);
    return is_over();
}

// Round the lights, each time one percent more: no command wants what the one before it set, and
// the last one for a light is told from all before it.
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
        "%zu commands, %zu acknowledged, in %.1f s: %.0f a second; %zu carried out meanwhile",
        commands, ledger_.counts().acknowledged, took, static_cast<double>(commands) / took,
        ledger_.counts().carried_out);
    print_(text);
}

void Soak::end_burst(std::size_t left) {
    const auto limit = kPatience + kForACommand * (ledger_.open() - left);
    check(waits_for([&] { return ledger_.open() <= left; }, limit), "the queue does not drain");
    if (left > 0) {
        check(house_.core().quits() == 0, "QUIT is not acknowledged");
        check(waits_for([this] { return ledger_.counts().dropped > 0; }, kPatience),
              "the log does not say how many commands were dropped");
        ledger_.ends();
    }
    for (const House::RoleObject& object : objects_) {
        if (object.role == "value") {
            const std::string difference =
                ledger_.compare(object.id, house_.light(object.light).state(), false);
            check(difference.empty(), difference);
        }
    }
    const auto ending = house_.stop();
    check(ending && ending->is_success(), "the daemon did not end as it should");
}

}  // namespace simulator
