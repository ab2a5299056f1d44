// Time that a command waits in the queue: from the answer to the core to the request at the bridge.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "bench/Fixture.h"
#include "bench/Ticker.h"
#include "bench/Wire.h"

namespace bench {
namespace {

constexpr double kSettledMs = 250;  // the worker's pause is over; it looks every 100 ms again
constexpr double kGoldenPart = 0.6180339887498949;

// The yardstick: how long each note waits for the next look of a thread.
Samples waits_of(const Samples& notes, const Samples& looks) {
    Samples waits;
    for (const double note : notes) {
        const auto look = std::lower_bound(looks.begin(), looks.end(), note);
        if (look == looks.end()) {
            throw std::runtime_error("the yardstick of dispatch did not look");
        }
        waits.push_back(*look - note);
    }
    return waits;
}

}  // namespace

void measure_dispatch(const Plan& plan, Report& report) {
    Fixture fixture(plan.daemon, 7);
    const auto object = fixture.object("on_off");
    bool is_on = fixture.house().light(object.light).is_on();
    const auto is_answer = [&](const Wire::Packet& packet) {
        return packet.from_port == fixture.port() && packet.bytes > 0;
    };
    const Wire wire;
    Ticker looker;
    Samples waits;
    Samples notes;
    for (std::size_t i = 1; i <= plan.rounds(200U, 10U); ++i) {
        // The worker looks at fixed times after the previous command. The commands are spread
        // evenly over its period.
        wait_ms(kSettledMs +
                Ticker::kPeriodMs * std::fmod(static_cast<double>(i) * kGoldenPart, 1));
        is_on = !is_on;
        fixture.command(object.id, is_on ? "1" : "0");
        notes.push_back(now_ms());
        const auto puts = wire.await(fixture.house(), i, &Wire::Packet::is_put);
        const auto answers = wire.await(fixture.house(), i, is_answer);
        if (puts.size() != i || answers.size() != i) {
            throw std::runtime_error("the PUTs cannot be assigned to the commands");
        }
        waits.push_back(puts.back().ms - answers.back().ms);
    }
    wait_ms(2 * Ticker::kPeriodMs);  // until the last look
    const Samples theirs = waits_of(notes, looker.end());
    report.add("median", "ms", medians_of_quarters(waits), medians_of_quarters(theirs), "<= 60");
    report.add("99 of 100", "ms", {percentile(waits, 0.99)}, {percentile(theirs, 0.99)});
    report.add("largest", "ms", {percentile(waits, 1)}, {percentile(theirs, 1)}, "<= 110");
    report.add_series(waits, theirs);
}

}  // namespace bench
