/// Answers device searches (SSDP, UDP multicast) for all devices of the house: each search gets
/// many answers from different devices over some time.
///
/// Owned by the bridge. Thread-safe; answers on a thread of its own.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>

#include "libcbase/Cstylecode.h"
#include "simulator/journal/Journal.h"
#include "simulator/net/WakeUp.h"

namespace simulator {

class SsdpResponder final {
  public:
    static constexpr const char* kGroup = "239.255.255.250";
    static constexpr int kPort = 1900;

    struct Answer {
        std::chrono::milliseconds delay;  ///< after the search
        std::string text;                 ///< one datagram
    };

    /// True if multicast uses the loopback, as in a private sandbox. Elsewhere a search would go to
    /// the machine's network and not arrive here.
    static bool is_possible();

    /// Listens; throws std::system_error.
    explicit SsdpResponder(std::vector<Answer> answers, EventSink sink = {});
    ~SsdpResponder();

    /// Adds an answer to every search, whatever its target; the text is not checked.
    void add_answer(const Answer& answer);

  private:
    using Clock = std::chrono::steady_clock;
    struct Datagram {
        sockaddr_in to;
        std::string text;
    };

    void serve();
    void receive();
    void send_due_answers();

    EventSink sink_;
    FileDescriptor socket_;
    WakeUp stop_;
    std::mutex mutex_;  // guards answers_ and additions_
    std::vector<Answer> answers_;
    std::vector<Answer> additions_;
    std::multimap<Clock::time_point, Datagram> due_;  // used by the thread only
    std::thread thread_;
};

}  // namespace simulator
