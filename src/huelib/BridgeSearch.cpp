#include "huelib/BridgeSearch.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "huelib/BridgeAnnouncements.h"
#include "huelib/BridgeTexts.h"
#include "huelib/HueCommandAPI.h"
#include "huelib/LinHttpHandler.h"
#include "huelib/MdnsMessage.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Bridge = BridgeSearch::Bridge;

// A search is sent twice, since datagrams get lost; by mDNS not within a second (RFC 6762, section
// 5.2). A device answers within two seconds (MX).
constexpr milliseconds kRepeatAfter{1000};
constexpr milliseconds kListenPeriod{3100};
// The rest of the time is for the candidates.
constexpr milliseconds kAskUntil{5900};
constexpr std::size_t kMostThreads = BridgeAnnouncements::kMostCandidates / 2;
constexpr std::size_t kMostSearchers = 64;
constexpr int kMostAnswersInARow = 8;  // between two looks at the clock: an answer may take 2 ms
constexpr std::size_t kAnswerBytes = std::size_t{64} << 10;

struct Protocol {
    const char* group;
    std::uint16_t port;
    std::string (*search)();
    void (BridgeAnnouncements::*add)(std::string_view, in_addr);
};

std::string ssdpSearch() {
    return "M-SEARCH * HTTP/1.1\r\n"
           "HOST: 239.255.255.250:1900\r\n"
           "MAN: \"ssdp:discover\"\r\n"
           "MX: 2\r\n"
           "ST: ssdp:all\r\n\r\n";
}

std::string mdnsSearch() {
    return MdnsMessage::query("_hue._tcp.local");
}

constexpr Protocol kProtocols[] = {
    {"239.255.255.250", 1900, ssdpSearch, &BridgeAnnouncements::addSsdp},
    {"224.0.0.251", 5353, mdnsSearch, &BridgeAnnouncements::addMdns},
};

// Searches from one interface by one protocol, from a port that the system chooses. The socket is
// bound to the interface's address: the system then sends to a group from that interface. An
// emulator of the board lacks the option for that, IP_MULTICAST_IF.
class Searcher final {
  public:
    Searcher(const Protocol& used, const sockaddr_in& interface)
        : protocol(&used), fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        sockaddr_in own = interface;
        own.sin_port = 0;
        if (fd < 0 || ::bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
            error = errno;
        }
    }
    ~Searcher() { ::close(fd); }
    Searcher(const Searcher&) = delete;
    Searcher& operator=(const Searcher&) = delete;

    int get() const { return fd; }

    // Returns 0 or the error, also that of opening the socket: an address may go away meanwhile.
    int send() const {
        if (error != 0) {
            return error;
        }
        const std::string text = protocol->search();
        sockaddr_in group{};
        group.sin_family = AF_INET;
        group.sin_port = htons(protocol->port);
        ::inet_pton(AF_INET, protocol->group, &group.sin_addr);
        const ssize_t count = ::sendto(fd, text.data(), text.size(), MSG_NOSIGNAL,
                                       reinterpret_cast<const sockaddr*>(&group), sizeof group);
        return count < 0 ? errno : 0;
    }

    // Reads some of what has arrived. Answers that do not fit are dropped, and so are errors, which
    // are messages about another datagram.
    void receive(BridgeAnnouncements& announcements) const {
        char buffer[BridgeAnnouncements::kAnswerBytes];
        for (int i = 0; i < kMostAnswersInARow; ++i) {
            sockaddr_in sender{};
            socklen_t length = sizeof sender;
            const ssize_t count = ::recvfrom(fd, buffer, sizeof buffer, MSG_TRUNC,
                                             reinterpret_cast<sockaddr*>(&sender), &length);
            if (count < 0) {
                return;
            }
            const auto size = static_cast<std::size_t>(count);
            if (size <= sizeof buffer && length == sizeof sender) {
                (announcements.*protocol->add)({buffer, size}, sender.sin_addr);
            }
        }
    }

  private:
    const Protocol* protocol;
    int fd;
    int error = 0;  // errno of the constructor
};

using Searchers = std::vector<std::unique_ptr<Searcher>>;

// For each IPv4 address of an interface that is up and does multicast, by each protocol. Adds the
// addresses of all interfaces.
Searchers searchersOfAllInterfaces(std::vector<in_addr>& addresses) {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "BridgeSearch: Failed to list the interfaces");
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);
    constexpr unsigned kNeeded = IFF_UP | IFF_MULTICAST;
    Searchers searchers;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        const auto& address = *reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
        addresses.push_back(address.sin_addr);
        if ((entry->ifa_flags & kNeeded) != kNeeded || searchers.size() >= kMostSearchers) {
            continue;
        }
        for (const Protocol& protocol : kProtocols) {
            searchers.push_back(std::make_unique<Searcher>(protocol, address));
        }
    }
    return searchers;
}

// Returns 0, or the error of an interface if the search can be sent on none.
int sendAll(const Searchers& searchers) {
    bool isSent = false;
    int error = ENODEV;  // without interfaces
    for (const auto& searcher : searchers) {
        const int failure = searcher->send();
        isSent = isSent || failure == 0;
        error = failure != 0 ? failure : error;
    }
    return isSent ? 0 : error;
}

void listen(const Searchers& searchers, steady_clock::time_point end,
            BridgeAnnouncements& announcements) {
    std::vector<pollfd> readable;
    for (const auto& searcher : searchers) {
        readable.push_back({searcher->get(), POLLIN, 0});
    }
    while (true) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now()).count();
        if (left <= 0) {
            return;
        }
        if (::poll(readable.data(), readable.size(), static_cast<int>(left)) < 0 &&
            errno != EINTR) {
            throw std::system_error(errno, std::generic_category(),
                                    "BridgeSearch: Failed to wait for answers");
        }
        for (std::size_t i = 0; i < readable.size() && steady_clock::now() < end; ++i) {
            if (std::exchange(readable[i].revents, short{0}) != 0) {
                searchers[i]->receive(announcements);
            }
        }
    }
}

// All requests to a device end before `end`, however slow it is: connecting takes at most half of
// the time that is left, and the answer too.
class LimitedHttpHandler final : public LinHttpHandler {
  public:
    explicit LimitedHttpHandler(steady_clock::time_point limit) : end(limit) {}

    std::string send(const std::string& msg, const std::string& adr, int port) const override {
        const auto left = std::chrono::floor<milliseconds>(end - steady_clock::now());
        return exchange(msg, adr, port, {left / 2, left / 2, kAnswerBytes});
    }

  private:
    steady_clock::time_point end;
};

// Empty for a device that does not answer.
std::string get(const LinHttpHandler& handler, const char* uri, const std::string& address) {
    try {
        return handler.GETString(uri, "application/json", "", address, HueCommandAPI::kBridgePort);
    } catch (const std::exception&) {
        return {};
    }
}

void ask(const LinHttpHandler& handler, Bridge& bridge) {
    bridge.isDescribed =
        BridgeTexts::readConfig(get(handler, "/api/config", bridge.address), bridge) ||
        BridgeTexts::readDescription(get(handler, "/description.xml", bridge.address), bridge);
}

// Asks several at a time, with this thread and others. A slow device takes no time of another: each
// has an equal part of what is left for those that one thread asks.
void askAll(std::vector<Bridge>& candidates, steady_clock::time_point end) {
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        auto now = steady_clock::now();
        for (std::size_t i = next++; i < candidates.size() && now < end; i = next++) {
            const std::size_t turns = (candidates.size() - i + kMostThreads - 1) / kMostThreads;
            ask(LimitedHttpHandler(now + (end - now) / static_cast<int>(turns)), candidates[i]);
            now = steady_clock::now();
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(kMostThreads);
    try {
        while (threads.size() + 1 < std::min(kMostThreads, candidates.size())) {
            threads.emplace_back(work);
        }
    } catch (const std::system_error&) {  // do with fewer
    }
    work();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

std::vector<BridgeSearch::Bridge> BridgeSearch::find() const {
    const auto start = steady_clock::now();
    std::vector<Bridge> candidates;
    {
        std::vector<in_addr> own;
        const Searchers searchers = searchersOfAllInterfaces(own);
        BridgeAnnouncements announcements(std::move(own));
        if (const int error = sendAll(searchers); error != 0) {
            throw std::system_error(error, std::generic_category(),
                                    "BridgeSearch: Failed to send a search");
        }
        listen(searchers, start + kRepeatAfter, announcements);
        sendAll(searchers);
        listen(searchers, start + kListenPeriod, announcements);
        candidates = announcements.candidates();
    }
    askAll(candidates, start + kAskUntil);
    return BridgeAnnouncements::mergedById(std::move(candidates));
}
