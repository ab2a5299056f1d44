// Time from a change at a bulb to the report at the core. The yardstick is the period of the polls.
#include <chrono>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "bench/Fixture.h"
#include "bench/ProcessCost.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLights = 20;
constexpr double kPollPeriodMs = 3000;
constexpr double kSpacingMs = 310;  // each change falls on another moment of the period
constexpr double kGoalRatio = 1.05;
constexpr std::size_t kParts = 4;
constexpr std::chrono::seconds kReportLimit{10};

struct Change {
    int object;
    std::string text;  // of the event that reports the change
    Clock::time_point time;
};

// In the order of the changes. Throws when one is not reported.
Samples waits_for(Fixture& fixture, const std::vector<Change>& changes) {
    const simulator::Journal& journal = fixture.house().journal();
    Samples waits;
    for (const Change& change : changes) {
        const auto is_reported = [&] {
            for (const simulator::Event& event : journal.events()) {
                if (event.kind == simulator::EventKind::daemon_to_core &&
                    event.text == change.text && event.time >= change.time) {
                    waits.push_back(
                        std::chrono::duration<double, std::milli>(event.time - change.time)
                            .count());
                    return true;
                }
            }
            return false;
        };
        if (!journal.wait_until(is_reported, kReportLimit)) {
            throw std::runtime_error("the daemon did not report: " + change.text);
        }
    }
    return waits;
}

}  // namespace

void measure_change(const Plan& plan, Report& report) {
    Fixture fixture(plan, kLights);
    std::vector<simulator::House::RoleObject> dimmers;
    for (const auto& object : fixture.house().objects()) {
        if (object.role == "value") {
            dimmers.push_back(object);
        }
    }
    std::vector<Change> changes;
    for (int i = 0; i < plan.rounds(160, 10); ++i) {
        wait_ms(kSpacingMs);
        const auto& dimmer = dimmers[static_cast<std::size_t>(i) % dimmers.size()];
        // Each light changes again only several polls later, to a percentage that it has not had.
        const int percent = 10 + 5 * (i / static_cast<int>(dimmers.size()));
        Json::Value members;
        members["bri"] = static_cast<int>(std::ceil(percent * 2.54));
        changes.push_back({dimmer.id,
                           "object " + std::to_string(dimmer.id) + " is " + std::to_string(percent),
                           Clock::now()});
        fixture.house().light(dimmer.light).change(members);
    }
    const Samples waits = waits_for(fixture, changes);
    Samples expected;
    for (std::size_t i = 0; i < waits.size(); ++i) {
        expected.push_back(kPollPeriodMs * (static_cast<double>(i) + 0.5) /
                           static_cast<double>(waits.size()));
    }
    report.add({"change",
                "to the core's SETVALUE, median",
                "ms",
                medians_of_parts(waits, kParts),
                {percentile(expected, 0.5)}});
    report.add({"change",
                "to the core's SETVALUE, largest",
                "ms",
                {percentile(waits, 1)},
                {kPollPeriodMs},
                Goal{Goal::Of::ratio, Goal::Side::at_most, kGoalRatio}});
}

}  // namespace bench
