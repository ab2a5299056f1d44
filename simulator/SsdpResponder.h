/// Answers searches for devices (SSDP, UDP multicast) as the devices of a house do: each search
/// gets many answers, spread over some time, in a mixture of devices.
///
/// Owned by the bridge. Thread-safe; it answers on a thread of its own.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>

#include "libcbase/Cstylecode.h"
#include "simulator/Journal.h"
#include "simulator/WakeUp.h"

namespace simulator {

class SsdpResponder final {
  public:
    static constexpr const char* kGroup = "239.255.255.250";
    static constexpr int kPort = 1900;

    struct Answer {
        std::chrono::milliseconds delay;  ///< behind the search
        std::string text;                 ///< one datagram
    };

    /// True where a search leaves through the loopback, as it does in a private sandbox. Elsewhere
    /// it would go out into the machine's own network, and nobody here would hear it.
    static bool is_possible();

    /// Listens; throws std::system_error.
    explicit SsdpResponder(std::vector<Answer> answers, EventSink sink = {});
    ~SsdpResponder();

    /// One more answer, to whatever is searched for; not checked in any way.
    void adds(const Answer& answer);

  private:
    using Clock = std::chrono::steady_clock;
    struct Letter {
        sockaddr_in to;
        std::string text;
    };

    void serve();
    void receive();
    void send_what_is_due();

    EventSink sink_;
    FileDescriptor socket_;
    WakeUp stop_;
    std::mutex mutex_;  // guards answers_ and additions_
    std::vector<Answer> answers_;
    std::vector<Answer> additions_;
    std::multimap<Clock::time_point, Letter> due_;  // of the thread
    std::thread thread_;
};

}  // namespace simulator
