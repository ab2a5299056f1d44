/// Prints the house's events, one line each with a time stamp. Thread-safe.
#pragma once

#include <chrono>
#include <mutex>
#include <ostream>
#include <set>
#include <string>

#include "simulator/Journal.h"

namespace simulator {

class Console final {
  public:
    /// Seconds are counted from here. Unless `shows_all`, what the daemon says at every poll or
    /// report in the same words is printed once.
    Console(std::ostream& out, bool shows_all);

    void print(const Event& event);
    /// A line of the house's own: a heading, a result of a command.
    void print(const std::string& text);
    /// Shown at the foot of the screen, behind every line; for a terminal.
    void set_prompt(const std::string& prompt);

  private:
    bool is_wanted(const Event& event);
    void print_line(const std::string& line);

    std::ostream& out_;
    bool shows_all_;
    std::chrono::steady_clock::time_point start_;
    std::mutex mutex_;  // guards the rest, and the order of lines
    std::set<std::string> routine_seen_;
    std::string prompt_;
};

}  // namespace simulator
