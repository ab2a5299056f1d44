/// Answers device searches (SSDP, UDP multicast) for all devices of the house: each search gets
/// many answers from different devices over some time.
///
/// Answers one search after the other, on a thread of its own. Immutable.
#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "libcbase/Cstylecode.h"
#include "simulator/journal/Journal.h"
#include "simulator/net/WakeUp.h"

struct sockaddr_in;

namespace simulator {

class SsdpResponder final {
  public:
    struct Answer {
        std::chrono::milliseconds delay;  ///< after the search
        std::string text;                 ///< one datagram
    };

    /// Reads answers from a text; its first lines explain the form.
    static std::vector<Answer> parse_answers(const std::string& text);
    /// True if multicast uses the loopback, as in a private sandbox. Elsewhere a search would go to
    /// the machine's network and not arrive here.
    static bool is_possible();

    /// Listens; throws std::system_error.
    explicit SsdpResponder(std::vector<Answer> answers, EventSink sink = ignore_event);
    ~SsdpResponder();

  private:
    void serve();
    void answer(const std::string& type, const sockaddr_in& to) const;

    EventSink sink_;
    FileDescriptor socket_;
    WakeUp stop_;
    std::vector<Answer> answers_;
    std::thread thread_;  // last: it uses the rest
};

}  // namespace simulator
