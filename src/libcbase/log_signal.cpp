#include "libcbase/log.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <paths.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "libcbase/FileDescriptor.h"

namespace {

// What the signal handler reads: written once, before signal_socket is published.
char signal_header[128];
std::size_t signal_header_length = 0;
sockaddr_un signal_address{};
std::atomic<int> signal_socket{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler reads it");

}  // namespace

void prepare_signal_log() {
    if (signal_socket.load() >= 0) {
        return;
    }
    FileDescriptor fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd) {
        return;
    }
    const int length = std::snprintf(signal_header, sizeof(signal_header),
                                     "<%d>%.64s[%d]: ", zel_log_facility | LOG_ERR,
                                     program_invocation_short_name, getpid());
    signal_header_length = length > 0 ? static_cast<std::size_t>(length) : 0;
    signal_address.sun_family = AF_UNIX;
    std::strcpy(signal_address.sun_path, _PATH_LOG);
    signal_socket.store(fd.release());
}

void error_from_signal_handler(const char* text, std::size_t length, int timeout_ms) noexcept {
    const int fd = signal_socket.load();
    if (fd < 0) {
        return;
    }
    const int kept = errno;
    iovec parts[2] = {{signal_header, signal_header_length}, {const_cast<char*>(text), length}};
    msghdr message{};
    message.msg_name = &signal_address;
    message.msg_namelen = sizeof(signal_address);
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    // The logger's queue is short (ten lines on most systems) and may be full at this moment.
    constexpr int kPauseMilliseconds = 10;
    while (sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0 && errno == EAGAIN &&
           timeout_ms > 0) {
        poll(nullptr, 0, kPauseMilliseconds);
        timeout_ms -= kPauseMilliseconds;
    }
    errno = kept;
}
