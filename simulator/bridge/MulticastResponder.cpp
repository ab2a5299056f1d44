#include "simulator/bridge/MulticastResponder.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace simulator {
namespace {

constexpr std::size_t kSearchBytes = 2048;

sockaddr_in address_of(const std::string& ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, ip.c_str(), &address.sin_addr);
    return address;
}

const sockaddr* as_any(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

FileDescriptor bound_socket(const sockaddr_in& address) {
    FileDescriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int yes = 1;
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes)) != 0 ||
        bind(fd.get(), as_any(address), sizeof(address)) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot answer searches");
    }
    return fd;
}

// Bound to the group itself: the port of the machine's addresses may be in use.
FileDescriptor join_group(const sockaddr_in& group) {
    FileDescriptor fd = bound_socket(group);
    ip_mreq membership{};
    membership.imr_multiaddr = group.sin_addr;
    membership.imr_interface.s_addr = htonl(INADDR_LOOPBACK);
    if (setsockopt(fd.get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership)) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot listen for searches");
    }
    return fd;
}

}  // namespace

bool MulticastResponder::is_possible() {
    const FileDescriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in group = address_of("239.255.255.250", 1900);
    sockaddr_in own{};
    socklen_t length = sizeof(own);
    return probe && connect(probe.get(), as_any(group), sizeof(group)) == 0 &&
           getsockname(probe.get(), reinterpret_cast<sockaddr*>(&own), &length) == 0 &&
           own.sin_addr.s_addr == htonl(INADDR_LOOPBACK);
}

MulticastResponder::MulticastResponder(const std::string& group, std::uint16_t port,
                                       const std::string& from, Answerer answerer)
    : answerer_(std::move(answerer)),
      group_socket_(join_group(address_of(group, port))),
      sender_(bound_socket(address_of(from, 0))),
      thread_([this] { serve(); }) {}

MulticastResponder::~MulticastResponder() {
    stop_.set();
    thread_.join();
}

void MulticastResponder::serve() {
    pollfd ready[2] = {{group_socket_.get(), POLLIN, 0}, {stop_.fd(), POLLIN, 0}};
    while (poll(ready, 2, -1) < 0 || ready[1].revents == 0) {
        std::string message(kSearchBytes, '\0');
        sockaddr_in from{};
        socklen_t size = sizeof(from);
        const ssize_t length = recvfrom(group_socket_.get(), message.data(), message.size(), 0,
                                        reinterpret_cast<sockaddr*>(&from), &size);
        message.resize(static_cast<std::size_t>(std::max<ssize_t>(0, length)));
        answer(answerer_(message), from);
    }
}

// Errors are ignored: the searcher may have ended.
void MulticastResponder::answer(const Answers& answers, const sockaddr_in& to) const {
    std::chrono::milliseconds passed{0};
    for (const auto& [delay, text] : answers) {
        pollfd stop{stop_.fd(), POLLIN, 0};
        if (poll(&stop, 1, static_cast<int>((delay - passed).count())) > 0) {
            return;
        }
        passed = delay;
        sendto(sender_.get(), text.data(), text.size(), 0, as_any(to), sizeof(to));
    }
}

}  // namespace simulator
