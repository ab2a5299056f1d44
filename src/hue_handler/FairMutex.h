/// A mutex that is granted in the order of the requests for it.
///
/// The monitor reads the lights one after another and releases the light table between two of them;
/// with an unfair mutex it would lock the table again before a waiting command wakes up, and the
/// command would wait for all lights. Meets the standard's Lockable requirements.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace hue_handler {

class FairMutex final {
  public:
    /// Waits for all earlier callers, without a limit.
    void lock() {
        std::unique_lock<std::mutex> guard(mutex_);
        const std::uint32_t ticket = next_ticket_++;
        turn_.wait(guard, [this, ticket] { return ticket == serving_; });
    }

    /// Returns false at once if the mutex is held or another caller waits for it.
    bool try_lock() {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (next_ticket_ != serving_) {
            return false;
        }
        ++next_ticket_;
        return true;
    }

    /// Call from the thread that holds the mutex.
    void unlock() {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            ++serving_;
        }
        turn_.notify_all();
    }

  private:
    std::mutex mutex_;  // guards the two numbers, which may wrap around
    std::condition_variable turn_;
    std::uint32_t next_ticket_ = 0;
    std::uint32_t serving_ = 0;
};

}  // namespace hue_handler
