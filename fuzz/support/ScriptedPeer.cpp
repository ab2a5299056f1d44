#include "fuzz/support/ScriptedPeer.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fuzzing {
namespace {

constexpr std::size_t kRepeatedBytes = 16;
constexpr std::size_t kEndless = std::size_t{1} << 22;

ScriptedPeer* peer = nullptr;

}  // namespace

End end_of(std::string_view script) {
    const std::size_t drawn = script.size() % 64;
    return drawn == 0 ? End::repeats : drawn < 8 ? End::stalls : End::closes;
}

ScriptedPeer::ScriptedPeer(std::string_view script, Cuts cuts, End end)
    : script_(script), cuts_(cuts), end_(end), random_(static_cast<unsigned>(script.size())) {
    require(peer == nullptr, "there is one peer at a time");
    peer = this;
}

ScriptedPeer::~ScriptedPeer() {
    peer = nullptr;
}

ssize_t ScriptedPeer::deliver(char* buffer, std::size_t size) {
    if (is_silent()) {
        errno = EAGAIN;
        return -1;
    }
    require(taken_ < kEndless, "a peer is not read for ever");
    const bool repeats = end_ == End::repeats && !script_.empty();
    const std::size_t rest = repeats ? size : script_.size() - std::min(taken_, script_.size());
    const std::size_t count = std::min({size, rest, next_cut()});
    for (std::size_t i = 0; i < count; ++i) {
        buffer[i] = byte_at(taken_++);
    }
    return static_cast<ssize_t>(count);
}

char ScriptedPeer::byte_at(std::size_t position) const {
    const std::size_t size = script_.size();
    return script_[position < size ? position
                                   : size - 1 - position % std::min(size, kRepeatedBytes)];
}

// Small and large pieces: what matters is where a piece ends.
std::size_t ScriptedPeer::next_cut() {
    if (cuts_ != Cuts::random) {
        return cuts_ == Cuts::bytewise ? 1 : SIZE_MAX;
    }
    const std::size_t largest = random_() % 4 == 0 ? 16 : 400;
    return 1 + random_() % largest;
}

}  // namespace fuzzing

// Replace the C library's functions for the program and its libraries.
extern "C" {

using fuzzing::peer;

int connect(int, const sockaddr*, socklen_t) {
    return 0;
}

// The name poll stays the linker's: gcc warns that a function of this name reads what it is given.
int scripted_poll(pollfd* watched, nfds_t count, int timeout) __asm__("poll");
int scripted_poll(pollfd* watched, nfds_t count, int timeout) {
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

ssize_t sendto(int, const void*, size_t size, int, const sockaddr*, socklen_t) {
    return static_cast<ssize_t>(size);
}

ssize_t recv(int, void* buffer, size_t size, int) {
    return peer->deliver(static_cast<char*>(buffer), size);
}

ssize_t read(int fd, void* buffer, size_t size) {
    return peer != nullptr ? peer->deliver(static_cast<char*>(buffer), size)
                           : syscall(SYS_read, fd, buffer, size);
}

}  // extern "C"
