#include "simulator/bridge/SsdpResponder.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace simulator {
namespace {

constexpr std::size_t kSearchBytes = 2048;

sockaddr_in group_address() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(1900);
    inet_pton(AF_INET, "239.255.255.250", &address.sin_addr);
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

std::vector<SsdpResponder::Answer> SsdpResponder::parse_answers(const std::string& text) {
    std::vector<Answer> answers;
    std::istringstream lines(text + "\n\n");
    std::string datagram;
    std::string delays;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("after ", 0) == 0) {
            delays = line.substr(line.find(' '));
        } else if (!line.empty() && line[0] != '#') {
            datagram += line + "\r\n";
        } else if (!datagram.empty()) {
            std::istringstream times(delays);
            for (int delay = 0; times >> delay;) {
                answers.push_back({std::chrono::milliseconds(delay), datagram + "\r\n"});
            }
            datagram.clear();
        }
    }
    return answers;
}

SsdpResponder::SsdpResponder(std::vector<Answer> answers, EventSink sink)
    : sink_(std::move(sink)), socket_(join_group()), answers_(std::move(answers)) {
    std::stable_sort(answers_.begin(), answers_.end(),
                     [](const Answer& a, const Answer& b) { return a.delay < b.delay; });
    thread_ = std::thread([this] { serve(); });
}

SsdpResponder::~SsdpResponder() {
    stop_.set();
    thread_.join();
}

void SsdpResponder::serve() {
    pollfd ready[2] = {{socket_.get(), POLLIN, 0}, {stop_.fd(), POLLIN, 0}};
    while (poll(ready, 2, -1) < 0 || ready[1].revents == 0) {
        std::string message(kSearchBytes, '\0');
        sockaddr_in from{};
        socklen_t size = sizeof(from);
        const ssize_t length = recvfrom(socket_.get(), message.data(), message.size(), 0,
                                        reinterpret_cast<sockaddr*>(&from), &size);
        message.resize(static_cast<std::size_t>(std::max<ssize_t>(0, length)));
        if (is_search(message)) {
            const std::string target = header_value(message, "ST");
            sink_({EventKind::daemon_to_bridge, "M-SEARCH to every device: " + target});
            answer(target, from);
        }
    }
}

// Errors are ignored: the searcher may have ended.
void SsdpResponder::answer(const std::string& target, const sockaddr_in& to) const {
    std::chrono::milliseconds passed{0};
    for (const Answer& answer : answers_) {
        pollfd stop{stop_.fd(), POLLIN, 0};
        if (poll(&stop, 1, static_cast<int>((answer.delay - passed).count())) > 0) {
            return;
        }
        passed = answer.delay;
        if (target == "ssdp:all" || target == header_value(answer.text, "ST")) {
            sendto(socket_.get(), answer.text.data(), answer.text.size(), 0, as_any(to),
                   sizeof(to));
        }
    }
}

}  // namespace simulator
