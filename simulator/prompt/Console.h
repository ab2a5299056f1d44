/// Prints the house's events on standard output, one line each with a time stamp. Thread-safe.
#pragma once

#include <chrono>
#include <mutex>
#include <set>
#include <string>

#include "simulator/journal/Journal.h"

namespace simulator {

class Console final {
  public:
    /// Time stamps count from the construction. Unless `shows_all`, events that every poll or
    /// report repeats are printed once.
    explicit Console(bool shows_all) : shows_all_(shows_all) {}

    void print(const Event& event);
    /// Prints a line without a time stamp: a heading, a result of a command.
    static void print(const std::string& text);

    /// "core -> daemon", "log", ...
    static const char* direction(const Event& event);
    /// The pattern of an event that every poll or report repeats; null for another one.
    static const char* routine(const Event& event);

  private:
    bool shows_all_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::mutex mutex_;  // guards the next one, and the order of lines
    std::set<std::string> routine_seen_;
};

}  // namespace simulator
