// Pace of the requests while commands wait in the queue. The bridge allows one every 100 ms.
#include <atomic>
#include <chrono>
#include <iterator>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "bench/Fixture.h"
#include "bench/Wire.h"

namespace bench {
namespace {

constexpr std::chrono::milliseconds kPace{100};
constexpr double kGoalShare = 0.99;
// The kernel's timestamp of the packet is later than the daemon's own look at the clock.
constexpr double kPacketJitterMs = 0.5;

// The yardstick, which shows the delays of the machine: a thread that only wakes up 100 ms after
// its last wake-up, as the daemon does.
class Pacer final {
  public:
    Pacer() : thread_([this] { pace(); }) {}
    ~Pacer() { end(); }

    /// Ends the thread.
    Samples gaps() {
        end();
        return gaps_;
    }

  private:
    using Clock = std::chrono::steady_clock;

    void end() {
        is_over_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    void pace() {
        auto start = Clock::now();
        while (!is_over_) {
            std::this_thread::sleep_until(start + kPace);
            const auto next = Clock::now();
            gaps_.push_back(std::chrono::duration<double, std::milli>(next - start).count());
            start = next;
        }
    }

    Samples gaps_;  // written by the thread until it ends
    std::atomic<bool> is_over_{false};
    std::thread thread_;
};

struct Burst {
    std::string name;
    std::string role;
    std::string payloads[2];  // alternating, so that each is a change
    unsigned requests;        // per command
};

// Of the daemon or the yardstick: the pace of each round, the gaps of all rounds.
struct Pace {
    Samples a_second = {};
    Samples gaps_ms = {};

    void add(const Samples& gaps) {
        const double sum = std::accumulate(gaps.begin(), gaps.end(), 0.0);
        a_second.push_back(1000 * static_cast<double>(gaps.size()) / sum);
        gaps_ms.insert(gaps_ms.end(), gaps.begin(), gaps.end());
    }
};

void run_burst(const Plan& plan, Fixture& fixture, const Burst& burst, Pace& ours, Pace& theirs) {
    const int object = fixture.object(burst.role).id;
    const int commands = plan.rounds(120, 10) / static_cast<int>(burst.requests);
    const auto requests = static_cast<std::size_t>(commands) * burst.requests;
    const Wire wire;
    Pacer pacer;
    for (int i = 0; i < commands; ++i) {
        if (fixture.house().core().run_object(object, burst.payloads[i % 2]) != 0) {
            throw std::runtime_error("the daemon refused a command");
        }
    }
    const auto starts = wire.await(requests, Wire::opens_to_bridge, std::chrono::minutes(2));
    Samples gaps;
    for (std::size_t i = 1; i < starts.size(); ++i) {
        gaps.push_back(starts[i].ms - starts[i - 1].ms);
    }
    ours.add(gaps);
    theirs.add(pacer.gaps());
}

void report_pace(const Burst& burst, const Pace& ours, const Pace& theirs, Report& report) {
    report.add({"sustained",
                burst.name + ", requests a second",
                "",
                ours.a_second,
                {1000.0 / kPace.count()},
                Goal{Goal::Of::ratio, Goal::Side::at_least, kGoalShare}});
    report.add(
        {"sustained", burst.name + ", next to a thread", "", ours.a_second, theirs.a_second});
    report.add({"sustained",
                burst.name + ", smallest gap",
                "ms",
                {percentile(ours.gaps_ms, 0)},
                {percentile(theirs.gaps_ms, 0)},
                Goal{Goal::Of::value, Goal::Side::at_least, kPace.count() - kPacketJitterMs}});
    report.add({"sustained",
                burst.name + ", largest gap",
                "ms",
                {percentile(ours.gaps_ms, 1)},
                {percentile(theirs.gaps_ms, 1)}});
}

}  // namespace

void measure_sustained(const Plan& plan, Report& report) {
    Fixture fixture(plan, 7);
    // The first colour switches the light on; a light that is off ignores the others.
    const Burst bursts[] = {{"colours", "hsv", {"#20F0C0", "#80F0C0"}, 1},
                            {"brightnesses", "value", {"20", "80"}, 2}};
    Pace ours[std::size(bursts)];
    Pace theirs[std::size(bursts)];
    for (int round = 0; round < plan.rounds(3, 1); ++round) {
        for (std::size_t i = 0; i < std::size(bursts); ++i) {
            run_burst(plan, fixture, bursts[i], ours[i], theirs[i]);
        }
    }
    for (std::size_t i = 0; i < std::size(bursts); ++i) {
        report_pace(bursts[i], ours[i], theirs[i], report);
    }
}

}  // namespace bench
