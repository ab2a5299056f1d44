/// The account of a trial: every command that the core sent and what became of it, from what the
/// bridge did and what the log says.
///
/// A command that was acknowledged is carried out, or has a line in the log that says it was not.
/// Not thread-safe; the trial's own.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "simulator/House.h"

class Ledger final {
  public:
    using Clock = std::chrono::steady_clock;

    struct Command {
        int object = 0;
        int value = 0;  ///< as the log gives it
        std::string payload;
        int light = 0;       ///< number on the bridge
        std::string change;  ///< what the bridge is then asked for, as JSON without "on"
        bool is_acknowledged = false;
        std::chrono::milliseconds answered_in{};
    };
    struct Account {
        std::size_t sent = 0;
        std::size_t acknowledged = 0;
        std::size_t done = 0;
        std::size_t failed_with_line = 0;  ///< not done, and the log says so
        std::size_t lost = 0;              ///< neither
        std::chrono::milliseconds slowest_answer{};
    };

    /// So many commands in a row go to every light there is a kind of command for.
    static constexpr std::size_t kKinds = 5;
    /// The next command, sent through the core: brightnesses and colours in turn, no two alike, to
    /// lights 2, 4, 5 and 6 (light 4 alone gets both kinds).
    const Command& send_next(simulator::Core& core);
    bool is_done(const Command& command, simulator::Bridge& bridge) const;
    /// Of the first `count` commands, or of all.
    Account account(simulator::House& house, std::size_t count = SIZE_MAX) const;
    std::size_t size() const { return commands_.size(); }

  private:
    Command next_command() const;

    std::vector<Command> commands_;
};
