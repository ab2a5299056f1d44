/// Runs a function once, after a delay, on a thread of its own. The destructor cancels it, or waits
/// if it is running.
#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <thread>

namespace simulator {

class DelayedAction final {
  public:
    DelayedAction(std::chrono::milliseconds delay, std::function<void()> action)
        : thread_([delay, action = std::move(action), cancelled = cancel_.get_future()] {
              if (cancelled.wait_for(delay) == std::future_status::timeout) {
                  action();
              }
          }) {}
    ~DelayedAction() {
        cancel_.set_value();
        thread_.join();
    }
    DelayedAction(const DelayedAction&) = delete;
    DelayedAction& operator=(const DelayedAction&) = delete;

  private:
    std::promise<void> cancel_;
    std::thread thread_;  // last: it uses the promise
};

}  // namespace simulator
