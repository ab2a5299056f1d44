/// Records the packets of the loopback with the kernel's own timestamps. Delays neither the daemon
/// nor its peer, and a late wake-up of the listener does not matter.
///
/// Thread-safe. Needs a sandbox with its own network.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/net/WakeUp.h"

namespace bench {

class Wire final {
  public:
    struct Packet {
        double ms = 0;  ///< wall clock; only differences are meaningful
        int from_port = 0;
        int to_port = 0;
        bool opens = false;  ///< opens a connection (SYN without ACK)
        std::size_t bytes = 0;
        std::string start;  ///< first bytes of its payload

        bool begins_with(const std::string& word) const { return start.rfind(word, 0) == 0; }
    };
    using Filter = std::function<bool(const Packet&)>;

    /// Throws std::system_error.
    Wire();
    ~Wire();

    /// The packets that `filter` accepts, in order of time. Throws std::runtime_error when the
    /// kernel has dropped one since the last call.
    std::vector<Packet> packets(const Filter& filter) const;
    /// Waits until there are `count` of them. Throws std::runtime_error after `limit`.
    std::vector<Packet> await(std::size_t count, const Filter& filter,
                              std::chrono::milliseconds limit) const;

    /// @name Filters for a bridge in the simulated house
    /// @{
    static bool opens_to_bridge(const Packet& packet);
    static bool is_to_bridge(const Packet& packet);
    static bool is_from_bridge(const Packet& packet);
    static bool is_put(const Packet& packet);
    /// @}

  private:
    void listen();
    void check_none_was_lost() const;

    FileDescriptor socket_;
    simulator::WakeUp stop_;
    mutable std::mutex mutex_;  // guards packets_
    mutable std::condition_variable arrived_;
    std::vector<Packet> packets_;
    std::thread thread_;
};

}  // namespace bench
