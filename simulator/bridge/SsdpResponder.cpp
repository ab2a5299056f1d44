#include "simulator/bridge/SsdpResponder.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <regex>
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

// The device type that a search asks for. A device ignores an incomplete search.
std::optional<std::string> searched_type(const std::string& message) {
    static const std::regex kSearch(
        "M-SEARCH \\* HTTP/1.1(?=\r\n)(?=[^]*\r\nHOST: .)(?=[^]*\r\nMX: .)"
        "(?=[^]*\r\nMAN: \"ssdp:discover\"\r\n)[^]*\r\nST: (.*)\r\n[^]*");
    std::smatch parts;
    const bool is_search =
        message.find("\r\n\r\n") != std::string::npos && std::regex_match(message, parts, kSearch);
    return is_search ? std::optional(parts.str(1)) : std::nullopt;
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

SsdpResponder::Answers SsdpResponder::parse_answers(const std::string& text) {
    static const std::regex kAnswer("after (.*)\n((?:.+\n)+)");
    Answers answers;
    for (std::sregex_iterator it(text.begin(), text.end(), kAnswer), end; it != end; ++it) {
        std::istringstream delays(it->str(1));
        const std::string datagram =
            std::regex_replace(it->str(2) + "\n", std::regex("\n"), "\r\n");
        for (int delay = 0; delays >> delay;) {
            answers.emplace(delay, datagram);
        }
    }
    return answers;
}

SsdpResponder::SsdpResponder(Answers answers, EventSink sink)
    : sink_(std::move(sink)),
      socket_(join_group()),
      answers_(std::move(answers)),
      thread_([this] { serve(); }) {}

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
        if (const auto type = searched_type(message)) {
            sink_({EventKind::daemon_to_bridge, "M-SEARCH to every device: " + *type});
            answer(*type, from);
        }
    }
}

// Errors are ignored: the searcher may have ended.
void SsdpResponder::answer(const std::string& type, const sockaddr_in& to) const {
    std::chrono::milliseconds passed{0};
    for (const auto& [delay, text] : answers_) {
        pollfd stop{stop_.fd(), POLLIN, 0};
        if (poll(&stop, 1, static_cast<int>((delay - passed).count())) > 0) {
            return;
        }
        passed = delay;
        if (type == "ssdp:all" || text.find("\r\nST: " + type + "\r\n") != std::string::npos) {
            sendto(socket_.get(), text.data(), text.size(), 0, as_any(to), sizeof(to));
        }
    }
}

}  // namespace simulator
