/// The yardstick of what the daemon does every 100 ms: a thread that only wakes up 100 ms after its
/// last wake-up. It is as late as the machine makes it.
#pragma once

#include <atomic>
#include <chrono>
#include <future>

#include "bench/Fixture.h"

namespace bench {

class Ticker final {
  public:
    static constexpr double kPeriodMs = 100;

    ~Ticker() { is_over_ = true; }

    /// Ends the thread; once. Returns the times of its start and of each wake-up, as now_ms().
    Samples end() {
        is_over_ = true;
        return times_.get();
    }

  private:
    Samples run() const {
        Samples times{now_ms()};
        while (!is_over_) {
            wait_ms(kPeriodMs);
            times.push_back(now_ms());
        }
        return times;
    }

    std::atomic<bool> is_over_{false};
    std::future<Samples> times_ = std::async(std::launch::async, [this] { return run(); });
};

}  // namespace bench
