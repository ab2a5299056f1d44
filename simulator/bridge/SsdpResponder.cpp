#include "simulator/bridge/SsdpResponder.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

namespace simulator {
namespace {

constexpr std::size_t kSearchBytes = 2048;

sockaddr_in group_address() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(SsdpResponder::kPort);
    inet_pton(AF_INET, SsdpResponder::kGroup, &address.sin_addr);
    return address;
}

const sockaddr* as_any(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

// Bound to the group itself: port 1900 of the machine's addresses may be in use.
FileDescriptor join_group() {
    FileDescriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int yes = 1;
    const sockaddr_in address = group_address();
    ip_mreq membership{};
    membership.imr_multiaddr = address.sin_addr;
    membership.imr_interface.s_addr = htonl(INADDR_LOOPBACK);
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes)) != 0 ||
        bind(fd.get(), as_any(address), sizeof(address)) != 0 ||
        setsockopt(fd.get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership)) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot listen for device searches");
    }
    return fd;
}

// The value of a header line; empty if it is missing.
std::string header_value(const std::string& message, const std::string& name) {
    const std::string label = "\r\n" + name + ": ";
    const std::size_t at = message.find(label);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + label.size();
    return message.substr(begin, message.find("\r\n", begin) - begin);
}

// A device ignores an incomplete search.
bool is_search(const std::string& message) {
    return message.rfind("M-SEARCH * HTTP/1.1\r\n", 0) == 0 &&
           message.find("\r\n\r\n") != std::string::npos &&
           header_value(message, "MAN") == "\"ssdp:discover\"" &&
           !header_value(message, "HOST").empty() && !header_value(message, "MX").empty();
}

}  // namespace

bool SsdpResponder::is_possible() {
    const FileDescriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in group = group_address();
    sockaddr_in own{};
    socklen_t length = sizeof(own);
    return probe && connect(probe.get(), as_any(group), sizeof(group)) == 0 &&
           getsockname(probe.get(), reinterpret_cast<sockaddr*>(&own), &length) == 0 &&
           own.sin_addr.s_addr == htonl(INADDR_LOOPBACK);
}

SsdpResponder::SsdpResponder(std::vector<Answer> answers, EventSink sink)
    : sink_(std::move(sink)),
      socket_(join_group()),
      answers_(std::move(answers)),
      thread_([this] { serve(); }) {}

SsdpResponder::~SsdpResponder() {
    stop_.set();
    thread_.join();
}

void SsdpResponder::add_answer(const Answer& answer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    additions_.push_back(answer);
}

void SsdpResponder::serve() {
    for (;;) {
        int limit = -1;
        if (!due_.empty()) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(due_.begin()->first - Clock::now());
            limit = static_cast<int>(std::max<long long>(0, left.count()));
        }
        pollfd ready[2] = {{socket_.get(), POLLIN, 0}, {stop_.fd(), POLLIN, 0}};
        if (poll(ready, 2, limit) > 0 && ready[1].revents != 0) {
            return;
        }
        receive();
        send_due_answers();
    }
}

void SsdpResponder::receive() {
    std::string message(kSearchBytes, '\0');
    sockaddr_in from{};
    socklen_t size = sizeof(from);
    const ssize_t length = recvfrom(socket_.get(), message.data(), message.size(), 0,
                                    reinterpret_cast<sockaddr*>(&from), &size);
    message.resize(static_cast<std::size_t>(std::max<ssize_t>(0, length)));
    if (!is_search(message)) {
        return;
    }
    const std::string target = header_value(message, "ST");
    if (sink_) {
        sink_(EventKind::daemon_to_bridge, "M-SEARCH to every device: " + target);
    }
    const auto now = Clock::now();
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Answer& answer : answers_) {
        if (target == "ssdp:all" || target == header_value(answer.text, "ST")) {
            due_.emplace(now + answer.delay, Datagram{from, answer.text});
        }
    }
    for (const Answer& answer : additions_) {
        due_.emplace(now + answer.delay, Datagram{from, answer.text});
    }
}

void SsdpResponder::send_due_answers() {
    const auto last = due_.upper_bound(Clock::now());
    for (auto datagram = due_.begin(); datagram != last; ++datagram) {
        // Errors are ignored: the searcher may have ended.
        sendto(socket_.get(), datagram->second.text.data(), datagram->second.text.size(), 0,
               as_any(datagram->second.to), sizeof(datagram->second.to));
    }
    due_.erase(due_.begin(), last);
}

}  // namespace simulator
