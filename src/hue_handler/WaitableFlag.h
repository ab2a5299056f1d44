/// A boolean that threads share, with a sleep that ends as soon as the flag changes.
///
/// Any thread may call. Sleeps use the monotonic clock: on boards without a battery the wall clock
/// may jump.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace hue_handler {

class WaitableFlag final {
  public:
    /// Wakes the threads that sleep until this value.
    void set(bool value) {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            value_ = value;
        }
        changed_.notify_all();
    }

    /// Never blocks.
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
