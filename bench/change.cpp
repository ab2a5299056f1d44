// Time from a change at a bulb to the report at the core. The yardstick is the period of the polls.
#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "bench/Fixture.h"

namespace bench {
namespace {

constexpr int kLights = 20;
constexpr double kPollPeriodMs = 3000;
constexpr double kSpacingMs = 310;  // each change falls on another moment of the period
constexpr std::chrono::seconds kReportLimit{10};

struct Change {
    std::string text;  // of the event that reports the change
    double time;
};

Change change_light(Fixture& fixture, const simulator::House::RoleObject& dimmer, int percent) {
    Json::Value members;
    members["bri"] = static_cast<int>(std::ceil(percent * 2.54));
    Change change{"object " + std::to_string(dimmer.id) + " is " + std::to_string(percent),
                  now_ms()};
    fixture.house().light(dimmer.light).change(members);
    return change;
}

// Waits for the report. Throws when there is none.
double delay_of(const Change& change, const simulator::Journal& journal) {
    double delay = -1;  // also of a report before the change
    const auto is_reported = [&] {
        for (const simulator::Event& event : journal.events()) {
            if (delay < 0 && event.kind == simulator::EventKind::daemon_to_core &&
                event.text == change.text) {
                delay = ms_of(event.time) - change.time;
            }
        }
        return delay >= 0;
    };
    if (!journal.wait_until(is_reported, kReportLimit)) {
        throw std::runtime_error("the daemon did not report: " + change.text);
    }
    return delay;
}

}  // namespace

void measure_change(const Plan& plan, Report& report) {
    Fixture fixture(plan.daemon, kLights);
    auto dimmers = fixture.house().objects();
    dimmers.erase(std::remove_if(dimmers.begin(), dimmers.end(),
                                 [](const auto& object) { return object.role != "value"; }),
                  dimmers.end());
    std::vector<Change> changes;
    for (std::size_t i = 0; i < plan.rounds(160U, 10U); ++i) {
        wait_ms(kSpacingMs);
        // Each light changes again only several polls later, to a percentage that it has not had.
        const auto percent = static_cast<int>(10 + 5 * (i / dimmers.size()));
        changes.push_back(change_light(fixture, dimmers[i % dimmers.size()], percent));
    }
    Samples delays;
    Samples expected;
    for (const Change& change : changes) {
        const double place = static_cast<double>(delays.size()) + 0.5;
        delays.push_back(delay_of(change, fixture.house().journal()));
        expected.push_back(kPollPeriodMs * place / static_cast<double>(changes.size()));
    }
    report.add("to the core's SETVALUE, median", "ms", medians_of_quarters(delays),
               {percentile(expected, 0.5)});
    report.add("to the core's SETVALUE, largest", "ms", {percentile(delays, 1)}, {kPollPeriodMs},
               "ratio <= 1.05");
}

}  // namespace bench
