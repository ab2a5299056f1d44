// Time that a command waits in the queue: from the answer to the core to the request at the bridge.
#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "bench/Fixture.h"
#include "bench/ProcessCost.h"
#include "bench/Wire.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kLookPeriodMs = 100;
constexpr double kGoalMedianMs = 60;
constexpr double kGoalLargestMs = 110;
constexpr double kSettledMs = 250;  // the worker's pause is over; it looks every 100 ms again
constexpr std::size_t kParts = 4;
constexpr double kGoldenPart = 0.6180339887498949;
constexpr std::chrono::seconds kPutLimit{10};

// The yardstick: a thread that only looks for a note every 100 ms, as the daemon's worker does.
class Looker final {
  public:
    Looker() : thread_([this] { look(); }) {}
    ~Looker() {
        is_over_ = true;
        thread_.join();
    }

    void leave_note() {
        const std::lock_guard<std::mutex> lock(mutex_);
        note_ = Clock::now();
        has_note_ = true;
    }
    Samples waits() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return waits_;
    }

  private:
    void look() {
        while (!is_over_) {
            wait_ms(kLookPeriodMs);
            const std::lock_guard<std::mutex> lock(mutex_);
            if (has_note_) {
                waits_.push_back(
                    std::chrono::duration<double, std::milli>(Clock::now() - note_).count());
                has_note_ = false;
            }
        }
    }

    mutable std::mutex mutex_;  // guards note_, has_note_ and waits_
    Clock::time_point note_;
    bool has_note_ = false;
    Samples waits_;
    std::atomic<bool> is_over_{false};
    std::thread thread_;
};

}  // namespace

void measure_dispatch(const Plan& plan, Report& report) {
    Fixture fixture(plan, 7);
    const int object = fixture.object("on_off").id;
    bool is_on = fixture.house().light(fixture.object("on_off").light).is_on();
    const int port = fixture.port();
    const auto is_answer = [port](const Wire::Packet& packet) {
        return packet.from_port == port && packet.bytes > 0;
    };
    const Wire wire;
    Looker looker;
    Samples waits;
    for (int i = 0; i < plan.rounds(200, 10); ++i) {
        // The worker looks at fixed times after the previous command. The commands are spread
        // evenly over its period.
        wait_ms(kSettledMs + kLookPeriodMs * std::fmod(i * kGoldenPart, 1));
        is_on = !is_on;
        if (fixture.house().core().run_object(object, is_on ? "1" : "0") != 0) {
            throw std::runtime_error("the daemon refused a command");
        }
        looker.leave_note();
        const auto count = static_cast<std::size_t>(i) + 1;
        const auto puts = wire.await(count, Wire::is_put, kPutLimit);
        const auto answers = wire.await(count, is_answer, kPutLimit);
        if (puts.size() != count || answers.size() != count) {
            throw std::runtime_error("the PUTs cannot be assigned to the commands");
        }
        waits.push_back(puts.back().ms - answers.back().ms);
    }
    wait_ms(2 * kLookPeriodMs);  // until the last look
    const Samples theirs = looker.waits();
    report.add({"dispatch", "median", "ms", medians_of_parts(waits, kParts),
                medians_of_parts(theirs, kParts),
                Goal{Goal::Of::value, Goal::Side::at_most, kGoalMedianMs}});
    report.add(
        {"dispatch", "99 of 100", "ms", {percentile(waits, 0.99)}, {percentile(theirs, 0.99)}});
    report.add({"dispatch",
                "largest",
                "ms",
                {percentile(waits, 1)},
                {percentile(theirs, 1)},
                Goal{Goal::Of::value, Goal::Side::at_most, kGoalLargestMs},
                waits,
                theirs});
}

}  // namespace bench
