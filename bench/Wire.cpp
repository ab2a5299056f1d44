#include "bench/Wire.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <linux/sockios.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace bench {
namespace {

constexpr int kQueueBytes = 1 << 24;
constexpr timeval kLook{0, 100000};  // for the end of the recording
constexpr char kPut[] = {'P', 'U', 'T', ' '};

// The start of a packet as the kernel sends it, without options of IP.
struct Head {
    iphdr ip;
    tcphdr tcp;
    char rest[64];  // options of TCP, at most 40 bytes, and the payload
};

// `length`: bytes of the head that were received.
Wire::Packet packet_of(const Head& head, std::size_t length, const timespec& time) {
    Wire::Packet packet;
    packet.ms = static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    packet.from_port = ntohs(head.tcp.source);
    packet.to_port = ntohs(head.tcp.dest);
    packet.opens = head.tcp.syn != 0 && head.tcp.ack == 0;
    const std::size_t headers = sizeof(head.ip) + head.tcp.doff * std::size_t{4};
    packet.bytes = ntohs(head.ip.tot_len) - headers;
    packet.begins_put =
        length >= headers + sizeof(kPut) &&
        std::memcmp(reinterpret_cast<const char*>(&head) + headers, kPut, sizeof(kPut)) == 0;
    return packet;
}

}  // namespace

Wire::Wire() : socket_(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_IP))) {
    const int yes = 1;  // the loopback shows each packet twice: outgoing and incoming
    if (!socket_ ||
        setsockopt(socket_.get(), SOL_PACKET, PACKET_IGNORE_OUTGOING, &yes, sizeof(yes)) != 0 ||
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &kLook, sizeof(kLook)) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot listen to the loopback");
    }
    // As large as the system allows: a lost packet spoils the measurement.
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kQueueBytes, sizeof(kQueueBytes));
    timespec none{};  // the first call switches the timestamps on
    ioctl(socket_.get(), SIOCGSTAMPNS, &none);
    thread_ = std::thread([this] { listen(); });
}

Wire::~Wire() {
    is_over_ = true;
    thread_.join();
}

void Wire::listen() {
    while (!is_over_) {
        Head head{};
        timespec time{};
        const ssize_t length = recv(socket_.get(), &head, sizeof(head), 0);
        if (length >= static_cast<ssize_t>(sizeof(head.ip) + sizeof(head.tcp)) &&
            head.ip.protocol == IPPROTO_TCP && ioctl(socket_.get(), SIOCGSTAMPNS, &time) == 0) {
            const std::lock_guard<std::mutex> lock(mutex_);
            packets_.push_back(packet_of(head, static_cast<std::size_t>(length), time));
        }
    }
}

std::vector<Wire::Packet> Wire::packets(const Filter& filter) const {
    tpacket_stats counts{};
    socklen_t length = sizeof(counts);
    if (getsockopt(socket_.get(), SOL_PACKET, PACKET_STATISTICS, &counts, &length) != 0 ||
        counts.tp_drops > 0) {
        throw std::runtime_error("the packet socket lost packets");
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Packet> found;
    std::copy_if(packets_.begin(), packets_.end(), std::back_inserter(found), filter);
    return found;
}

std::vector<Wire::Packet> Wire::await(const simulator::House& house, std::size_t count,
                                      const Filter& filter) const {
    std::vector<Packet> found;
    const auto are_there = [&] {
        found = packets(filter);
        return found.size() >= count;
    };
    if (!house.wait_until(are_there, kLimit)) {
        throw std::runtime_error("fewer packets than expected arrived");
    }
    return found;
}

}  // namespace bench
