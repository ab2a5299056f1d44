/// Answers device searches (SSDP, UDP multicast) for all devices of the house: each search gets
/// many answers from different devices over some time.
///
/// Answers one search after the other, on a thread of its own. Immutable.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <thread>

#include "libcbase/Cstylecode.h"
#include "simulator/journal/Journal.h"
#include "simulator/net/WakeUp.h"

struct sockaddr_in;

namespace simulator {

class SsdpResponder final {
  public:
    /// Datagrams by their delay after the search.
    using Answers = std::multimap<std::chrono::milliseconds, std::string>;

    /// Reads answers from a text; its first lines explain the form.
    static Answers parse_answers(const std::string& text);
    /// True if multicast uses the loopback, as in a private sandbox. Elsewhere a search would go to
    /// the machine's network and not arrive here.
    static bool is_possible();

    /// Listens; throws std::system_error.
    explicit SsdpResponder(Answers answers, EventSink sink = ignore_event);
    ~SsdpResponder();

  private:
    void serve();
    void answer(const std::string& type, const sockaddr_in& to) const;

    EventSink sink_;
    FileDescriptor socket_;
    WakeUp stop_;
    Answers answers_;
    std::thread thread_;  // last: it uses the rest
};

}  // namespace simulator
