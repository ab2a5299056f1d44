/// Answers searches that are sent to a multicast group of the loopback, one after the other, on a
/// thread of its own. Immutable.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include "libcbase/Cstylecode.h"
#include "simulator/net/WakeUp.h"

struct sockaddr_in;

namespace simulator {

class MulticastResponder {
  public:
    /// Datagrams by their delay after the search.
    using Answers = std::multimap<std::chrono::milliseconds, std::string>;
    /// Returns what a datagram is answered with; nothing if it is not a search.
    using Answerer = std::function<Answers(const std::string& datagram)>;

    /// True if multicast uses the loopback, as in a private sandbox. Elsewhere a search would go to
    /// the machine's network and not arrive here.
    static bool is_possible();

    /// Listens; throws std::system_error. `from`: dotted address from which the answers are sent.
    MulticastResponder(const std::string& group, std::uint16_t port, const std::string& from,
                       Answerer answerer);
    ~MulticastResponder();

  private:
    void serve();
    void answer(const Answers& answers, const sockaddr_in& to) const;

    Answerer answerer_;
    FileDescriptor group_socket_;
    FileDescriptor sender_;
    WakeUp stop_;
    std::thread thread_;  // last: it uses the rest
};

}  // namespace simulator
