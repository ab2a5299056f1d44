// Pace of the requests while commands wait in the queue. The bridge allows one every 100 ms.
#include "bench/Fixture.h"
#include "bench/Ticker.h"
#include "bench/Wire.h"

namespace bench {
namespace {

// Of the daemon or the yardstick: the pace of each round, the gaps of all rounds.
struct Pace {
    Samples a_second = {};
    Samples gaps_ms = {};

    // `times`: of the starts, in ms
    void add(const Samples& times) {
        for (std::size_t i = 1; i < times.size(); ++i) {
            gaps_ms.push_back(times[i] - times[i - 1]);
        }
        a_second.push_back(1000 * static_cast<double>(times.size() - 1) /
                           (times.back() - times.front()));
    }
};

struct Burst {
    std::string name;
    std::string role;
    std::string payloads[2];  // alternating, so that each is a change
    std::size_t requests;     // per command
    Pace ours = {};
    Pace theirs = {};
};

void run_burst(const Plan& plan, Fixture& fixture, Burst& burst) {
    const int object = fixture.object(burst.role).id;
    const std::size_t requests = plan.rounds(120U, 10U);
    const Wire wire;
    Ticker pacer;
    for (std::size_t i = 0; i < requests / burst.requests; ++i) {
        fixture.command(object, burst.payloads[i % 2]);
    }
    Samples starts;
    for (const auto& packet :
         wire.await(fixture.house(), requests, &Wire::Packet::opens_to_bridge)) {
        starts.push_back(packet.ms);
    }
    burst.ours.add(starts);
    burst.theirs.add(pacer.end());
}

void report_pace(const Burst& burst, Report& report) {
    const Pace& ours = burst.ours;
    const Pace& theirs = burst.theirs;
    report.add(burst.name + ", requests a second", "", ours.a_second, {1000 / Ticker::kPeriodMs},
               "ratio >= 0.99");
    report.add(burst.name + ", next to a thread", "", ours.a_second, theirs.a_second);
    // The kernel's timestamp of a packet is up to 0.5 ms later than the daemon's own look at the
    // clock.
    report.add(burst.name + ", smallest gap", "ms", {percentile(ours.gaps_ms, 0)},
               {percentile(theirs.gaps_ms, 0)}, ">= 99.5");
    report.add(burst.name + ", largest gap", "ms", {percentile(ours.gaps_ms, 1)},
               {percentile(theirs.gaps_ms, 1)});
}

}  // namespace

void measure_sustained(const Plan& plan, Report& report) {
    Fixture fixture(plan.daemon, 7);
    // The first colour switches the light on; a light that is off ignores the others.
    Burst bursts[] = {{"colours", "hsv", {"#20F0C0", "#80F0C0"}, 1},
                      {"brightnesses", "value", {"20", "80"}, 2}};
    for (int round = 0; round < plan.rounds(3, 1); ++round) {
        for (Burst& burst : bursts) {
            run_burst(plan, fixture, burst);
        }
    }
    for (const Burst& burst : bursts) {
        report_pace(burst, report);
    }
}

}  // namespace bench
