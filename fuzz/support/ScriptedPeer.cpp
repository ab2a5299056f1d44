#include "fuzz/support/ScriptedPeer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "fuzz/support/Surroundings.h"

namespace fuzzing {
namespace {

constexpr std::size_t kRepeatedBytes = 16;
constexpr std::size_t kMostSent = 8192;

ScriptedPeer* peer = nullptr;
int connected_fd = -1;

// FNV-1a.
std::uint32_t hash_of(std::string_view text) {
    std::uint32_t hash = 2166136261U;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    return hash;
}

}  // namespace

ScriptedPeer::ScriptedPeer(std::string_view script, Cuts cuts, End end)
    : script_(script), cuts_(cuts), end_(end), random_(hash_of(script)) {
    require(peer == nullptr, "there is one peer at a time");
    peer = this;
}

ScriptedPeer::~ScriptedPeer() {
    peer = nullptr;
    connected_fd = -1;
}

void ScriptedPeer::record_sent(std::string_view bytes) {
    sent_.append(bytes.substr(0, kMostSent - sent_.size()));
}

ssize_t ScriptedPeer::deliver(void* buffer, std::size_t size) {
    if (is_silent()) {
        errno = EAGAIN;
        return -1;
    }
    const std::string_view rest = script_.substr(std::min(taken_, script_.size()));
    std::size_t count = std::min({size, rest.size(), next_cut()});
    std::copy_n(rest.data(), count, static_cast<char*>(buffer));
    if (rest.empty() && end_ == End::repeats && !script_.empty()) {
        const std::string_view tail =
            script_.substr(script_.size() - std::min(script_.size(), kRepeatedBytes));
        count = size;
        for (std::size_t i = 0; i < count; ++i) {
            static_cast<char*>(buffer)[i] = tail[(taken_ - script_.size() + i) % tail.size()];
        }
    }
    taken_ += count;
    return static_cast<ssize_t>(count);
}

// Small and large pieces: what matters is where a piece ends.
std::size_t ScriptedPeer::next_cut() {
    if (cuts_ == Cuts::none) {
        return SIZE_MAX;
    }
    random_ = random_ * 1664525U + 1013904223U;
    const std::uint32_t drawn = random_ >> 16;
    return cuts_ == Cuts::bytewise ? 1 : 1 + (drawn % 4 == 0 ? drawn / 4 % 16 : drawn / 4 % 400);
}

End end_of(std::string_view script) {
    const std::uint32_t drawn = hash_of(script) / 7 % 64;
    return drawn == 0 ? End::repeats : drawn < 8 ? End::stalls : End::closes;
}

}  // namespace fuzzing

// Replace the C library's functions for the program and its libraries.
extern "C" {

using fuzzing::connected_fd;
using fuzzing::peer;

int connect(int fd, const sockaddr*, socklen_t) {
    connected_fd = fd;
    return 0;
}

int poll(pollfd* watched, nfds_t count, int timeout) {
    if ((watched->events & POLLIN) != 0 && peer->is_silent()) {
        fuzzing::advance_clock(std::chrono::milliseconds(timeout));
        return 0;
    }
    watched->revents = watched->events;
    return static_cast<int>(count);
}

ssize_t send(int, const void* buffer, size_t size, int) {
    peer->record_sent({static_cast<const char*>(buffer), size});
    return static_cast<ssize_t>(size);
}

ssize_t sendto(int fd, const void*, size_t size, int, const sockaddr*, socklen_t) {
    connected_fd = fd;
    return static_cast<ssize_t>(size);
}

ssize_t recv(int, void* buffer, size_t size, int) {
    return peer->deliver(buffer, size);
}

ssize_t read(int fd, void* buffer, size_t size) {
    return peer != nullptr && fd == connected_fd ? peer->deliver(buffer, size)
                                                 : syscall(SYS_read, fd, buffer, size);
}

}  // extern "C"
