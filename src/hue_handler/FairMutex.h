/// A mutex that is granted in the order in which it was asked for.
///
/// The monitor reads the lights one after another and lets go of the light table between two of
/// them; with an unfair mutex it would take the table back before a waiting command wakes up, and
/// the command would wait for the whole house. Meets the standard's Lockable requirements.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace hue_handler {

class FairMutex final {
  public:
    void lock() {
        std::unique_lock<std::mutex> guard(mutex_);
        const std::uint32_t ticket = next_ticket_++;
        turn_.wait(guard, [this, ticket] { return ticket == serving_; });
    }

    /// False at once when the mutex is held or somebody waits for it.
    bool try_lock() {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (next_ticket_ != serving_) {
            return false;
        }
        ++next_ticket_;
        return true;
    }

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
