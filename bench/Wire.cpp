#include "bench/Wire.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "simulator/bridge/Bridge.h"

namespace bench {
namespace {

constexpr int kQueueBytes = 1 << 24;
constexpr std::size_t kKeptBytes = 256;
constexpr std::size_t kStartBytes = 32;

double time_of(msghdr& message) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPNS) {
            timespec time{};
            std::memcpy(&time, CMSG_DATA(part), sizeof(time));
            return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
        }
    }
    return 0;
}

// Empty for other protocols than TCP over IPv4.
std::optional<Wire::Packet> parse(const char* bytes, std::size_t length) {
    iphdr ip{};
    tcphdr tcp{};
    if (length < sizeof(ip)) {
        return std::nullopt;
    }
    std::memcpy(&ip, bytes, sizeof(ip));
    const std::size_t ip_bytes = ip.ihl * std::size_t{4};
    if (ip.protocol != IPPROTO_TCP || length < ip_bytes + sizeof(tcp)) {
        return std::nullopt;
    }
    std::memcpy(&tcp, bytes + ip_bytes, sizeof(tcp));
    const std::size_t text = ip_bytes + tcp.doff * std::size_t{4};
    Wire::Packet packet;
    packet.from_port = ntohs(tcp.source);
    packet.to_port = ntohs(tcp.dest);
    packet.opens = tcp.syn != 0 && tcp.ack == 0;
    const std::size_t whole = ntohs(ip.tot_len);
    packet.bytes = whole > text ? whole - text : 0;
    if (length > text) {
        packet.start.assign(bytes + text, std::min(length - text, kStartBytes));
    }
    return packet;
}

}  // namespace

Wire::Wire() : socket_(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_IP))) {
    sockaddr_ll loopback{};
    loopback.sll_family = AF_PACKET;
    loopback.sll_protocol = htons(ETH_P_IP);
    loopback.sll_ifindex = static_cast<int>(if_nametoindex("lo"));
    const int yes = 1;
    if (!socket_ || setsockopt(socket_.get(), SOL_SOCKET, SO_TIMESTAMPNS, &yes, sizeof(yes)) != 0 ||
        bind(socket_.get(), reinterpret_cast<sockaddr*>(&loopback), sizeof(loopback)) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot listen to the loopback");
    }
    // As large as the system allows: a lost packet spoils the measurement.
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kQueueBytes, sizeof(kQueueBytes));
    thread_ = std::thread([this] { listen(); });
}

Wire::~Wire() {
    stop_.set();
    thread_.join();
}

void Wire::listen() {
    pollfd events[] = {{socket_.get(), POLLIN, 0}, {stop_.fd(), POLLIN, 0}};
    while (poll(events, 2, -1) > 0 && events[1].revents == 0) {
        char bytes[kKeptBytes];
        alignas(cmsghdr) char control[256];
        sockaddr_ll origin{};
        iovec part{bytes, sizeof(bytes)};
        msghdr message{};
        message.msg_name = &origin;
        message.msg_namelen = sizeof(origin);
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        const ssize_t length = recvmsg(socket_.get(), &message, 0);
        // The loopback shows each packet twice: outgoing and incoming.
        if (length <= 0 || origin.sll_pkttype == PACKET_OUTGOING) {
            continue;
        }
        if (auto packet = parse(bytes, static_cast<std::size_t>(length))) {
            packet->ms = time_of(message);
            const std::lock_guard<std::mutex> lock(mutex_);
            packets_.push_back(std::move(*packet));
            arrived_.notify_all();
        }
    }
}

void Wire::check_none_was_lost() const {
    tpacket_stats counts{};
    socklen_t length = sizeof(counts);
    if (getsockopt(socket_.get(), SOL_PACKET, PACKET_STATISTICS, &counts, &length) != 0 ||
        counts.tp_drops > 0) {
        throw std::runtime_error("the packet socket lost packets");
    }
}

std::vector<Wire::Packet> Wire::packets(const Filter& filter) const {
    check_none_was_lost();
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Packet> found;
    std::copy_if(packets_.begin(), packets_.end(), std::back_inserter(found), filter);
    return found;
}

std::vector<Wire::Packet> Wire::await(std::size_t count, const Filter& filter,
                                      std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::unique_lock<std::mutex> lock(mutex_);
    const auto are_there = [&] {
        return static_cast<std::size_t>(std::count_if(packets_.begin(), packets_.end(), filter)) >=
               count;
    };
    if (!arrived_.wait_until(lock, deadline, are_there)) {
        throw std::runtime_error("fewer than " + std::to_string(count) +
                                 " of the expected packets arrived");
    }
    lock.unlock();
    return packets(filter);
}

bool Wire::opens_to_bridge(const Packet& packet) {
    return packet.opens && packet.to_port == simulator::Bridge::kHttpPort;
}

bool Wire::is_to_bridge(const Packet& packet) {
    return packet.bytes > 0 && packet.to_port == simulator::Bridge::kHttpPort;
}

bool Wire::is_from_bridge(const Packet& packet) {
    return packet.bytes > 0 && packet.from_port == simulator::Bridge::kHttpPort;
}

bool Wire::is_put(const Packet& packet) {
    return is_to_bridge(packet) && packet.begins_with("PUT ");
}

}  // namespace bench
