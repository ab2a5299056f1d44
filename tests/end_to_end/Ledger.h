/// The commands of a trial and their results, from the requests that the bridge confirmed and from
/// the log.
///
/// An acknowledged command is carried out, or a log line says that it was not. Not thread-safe.
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
        int value = 0;  ///< as in the log
        std::string payload;
        int light = 0;       ///< number on the bridge
        std::string change;  ///< the body of the PUT, JSON without "on"
        bool is_acknowledged = false;
        std::chrono::milliseconds answered_in{};
    };
    struct Account {
        std::size_t sent = 0;
        std::size_t acknowledged = 0;
        std::size_t done = 0;
        std::size_t failed_with_line = 0;  ///< not done, and logged
        std::size_t lost = 0;              ///< neither done nor logged
        std::chrono::milliseconds slowest_answer{};
    };

    /// This number of consecutive commands contains every kind.
    static constexpr std::size_t kKinds = 5;
    /// Sends the next command through the core: brightnesses and colours in turn, all different, to
    /// lights 2, 4, 5 and 6 (only light 4 gets both kinds).
    const Command& send_next(simulator::Core& core);
    bool is_done(const Command& command, simulator::Bridge& bridge) const;
    /// The results of the first `count` commands, or of all.
    Account account(simulator::House& house, std::size_t count = SIZE_MAX) const;
    std::size_t size() const { return commands_.size(); }

  private:
    Command next_command() const;

    std::vector<Command> commands_;
};
