/// A boolean that threads share, with a sleep that ends as soon as the flag is raised or lowered.
///
/// Sleeps are measured by the monotonic clock: boards without a battery step the wall clock.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace hue_handler {

class WaitableFlag final {
  public:
    void set(bool value) {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            value_ = value;
        }
        changed_.notify_all();
    }

    bool get() const { return value_; }

    /// Sleeps for `duration`, or until the flag is `value`.
    void sleep_unless(bool value, std::chrono::milliseconds duration) {
        std::unique_lock<std::mutex> guard(mutex_);
        changed_.wait_for(guard, duration, [this, value] { return value_ == value; });
    }

  private:
    std::mutex mutex_;  // taken to write value_, so that a sleeper cannot miss the change
    std::condition_variable changed_;
    std::atomic<bool> value_{false};
};

}  // namespace hue_handler
