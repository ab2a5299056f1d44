/// Records the packets of the loopback with the kernel's own timestamps. Delays neither the daemon
/// nor its peer, and a late wake-up of the listener does not matter.
///
/// One controlling thread. Needs a sandbox with its own network.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "simulator/House.h"

namespace bench {

class Wire final {
  public:
    struct Packet {
        double ms = 0;  ///< wall clock; only differences are meaningful
        int from_port = 0;
        int to_port = 0;
        std::size_t bytes = 0;  ///< of its payload
        bool opens = false;     ///< opens a connection (SYN without ACK)
        bool begins_put = false;

        /// @name For a bridge in the simulated house
        /// @{
        bool opens_to_bridge() const { return opens && to_port == simulator::Bridge::kHttpPort; }
        bool is_to_bridge() const { return bytes > 0 && to_port == simulator::Bridge::kHttpPort; }
        bool is_from_bridge() const {
            return bytes > 0 && from_port == simulator::Bridge::kHttpPort;
        }
        bool is_put() const { return begins_put && is_to_bridge(); }
        /// @}
    };
    using Filter = std::function<bool(const Packet&)>;

    /// Throws std::system_error.
    Wire();
    ~Wire();

    /// The packets that `filter` accepts, in order of time. Throws std::runtime_error when the
    /// kernel has dropped one since the last call.
    std::vector<Packet> packets(const Filter& filter) const;
    /// The same once there are `count` of them. Throws std::runtime_error after kLimit.
    std::vector<Packet> await(const simulator::House& house, std::size_t count,
                              const Filter& filter) const;

    static constexpr std::chrono::minutes kLimit{2};

  private:
    void listen();

    FileDescriptor socket_;
    std::atomic<bool> is_over_{false};
    mutable std::mutex mutex_;  // guards packets_
    std::vector<Packet> packets_;
    std::thread thread_;
};

}  // namespace bench
