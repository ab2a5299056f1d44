#include "libcbase/Cstylecode.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "libcbase/memory.h"

namespace {

// The messages "Cstylecode->make_... STEP failed with error '%s'", with and without the process.
int fail(const char* function, const char* step) {
    error("Cstylecode->%s %s failed with error '%s'", function, step, strerror(errno));
    return -1;
}

int fail_with_pid(const char* function, const char* step) {
    error("Cstylecode->%s %s failed with error '%s' for pid=%i", function, step, strerror(errno),
          getpid());
    return -1;
}

bool refuse(int code) {
    errno = code;
    return false;
}

// An address, or nothing with errno for a text or number that is not valid.
std::optional<sockaddr_un> local_address(const char* path) {
    sockaddr_un address{};
    const std::size_t length = std::strlen(text_or_empty(path));
    // An empty path would mean a socket outside the file system.
    if (length == 0 || length >= sizeof(address.sun_path)) {
        errno = length == 0 ? EINVAL : ENAMETOOLONG;
        return std::nullopt;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, length + 1);
    return address;
}

std::optional<sockaddr_in> internet_address(const char* ip, int port) {
    sockaddr_in address{};
    if (port < 0 || port > 65535 || inet_pton(AF_INET, text_or_empty(ip), &address.sin_addr) != 1) {
        errno = EINVAL;
        return std::nullopt;
    }
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

template <typename Address>
bool bind_to(int fd, const Address& address) {
    return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

// The time until `deadline`, rounded up.
std::int64_t milliseconds_until(std::chrono::steady_clock::time_point deadline) {
    return std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
        .count();
}

// Connects within the limit, also to a peer whose queue is full.
template <typename Address>
bool connect_within_limit(int fd, const Address& address, int milliseconds) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    // After a signal the call is repeated, and on Linux a blocking socket then goes on waiting. But
    // SO_SNDTIMEO would count again from the start, so each call gets the time that is left.
    while (true) {
        const std::int64_t rest = milliseconds_until(deadline);
        if (rest <= 0) {
            return refuse(ETIMEDOUT);
        }
        if (!set_socket_timeouts(fd, static_cast<int>(rest))) {
            return false;
        }
        if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            return set_socket_timeouts(fd, milliseconds);
        }
        // Linux reports in these ways that SO_SNDTIMEO has passed: UNIX, TCP, TCP after a signal.
        if (errno == EAGAIN || errno == EINPROGRESS || errno == EALREADY) {
            return refuse(ETIMEDOUT);
        }
        if (errno != EINTR) {
            return false;
        }
    }
}

FileDescriptor stream_socket(int family, const char* function) {
    FileDescriptor fd(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        fail_with_pid(function, "socket");
    }
    return fd;
}

template <typename Address>
int connected_socket(const std::optional<Address>& address, int milliseconds,
                     const char* function) {
    if (!address) {
        return fail_with_pid(function, "connect");
    }
    FileDescriptor fd =
        stream_socket(reinterpret_cast<const sockaddr*>(&*address)->sa_family, function);
    if (fd && !connect_within_limit(fd.get(), *address, milliseconds)) {
        return fail_with_pid(function, "connect");
    }
    return fd.release();
}

// A socket on every address of the host that does not listen yet.
FileDescriptor bound_internet_socket(int port, const char* function) {
    FileDescriptor fd = stream_socket(AF_INET, function);
    const int on = 1;
    if (!fd) {
        return fd;
    }
    if (setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0) {
        fail(function, "setsockopt");
        return FileDescriptor();
    }
    const std::optional<sockaddr_in> address = internet_address("0.0.0.0", port);
    if (!address || !bind_to(fd.get(), *address)) {
        fail(function, "bind");
        return FileDescriptor();
    }
    return fd;
}

int listening_socket(FileDescriptor fd, int backlog, const char* function) {
    return !fd || listen(fd.get(), backlog) == 0 ? fd.release() : fail(function, "listen");
}

}  // namespace

int make_internettcpclient_socket(const char* ip, int port, int milliseconds) {
    return connected_socket(internet_address(ip, port), milliseconds,
                            "make_internettcpclient_socket");
}

int make_localtcpclient_socket(const char* path, int milliseconds) {
    return connected_socket(local_address(path), milliseconds, "make_localtcpclient_socket");
}

int make_local_socket(const char* path, int backlog) {
    constexpr const char* kFunction = "make_local_socket";
    const std::optional<sockaddr_un> address = local_address(path);
    if (!address) {
        return fail(kFunction, "bind");
    }
    FileDescriptor fd = stream_socket(AF_UNIX, kFunction);
    if (!fd) {
        return -1;
    }
    unlink(path);
    if (!bind_to(fd.get(), *address)) {
        return fail(kFunction, "bind");
    }
    if (chmod(path, S_IRWXU | S_IRWXG | S_IRWXO) != 0) {
        return fail(kFunction, "chmod");
    }
    return listening_socket(std::move(fd), backlog, kFunction);
}

int make_internet_socket(int port, int backlog) {
    constexpr const char* kFunction = "make_internet_socket";
    return listening_socket(bound_internet_socket(port, kFunction), backlog, kFunction);
}

int make_internet_socket_randomport(int* port, int backlog) {
    constexpr const char* kFunction = "make_internet_socket_randomport";
    FileDescriptor fd = bound_internet_socket(0, kFunction);
    if (!fd) {
        return -1;
    }
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    if (getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return fail(kFunction, "getsockname");
    }
    *port = ntohs(address.sin_port);
    if (*port == 0) {
        error("Cstylecode->%s port chosen is invalid '%d'", kFunction, *port);
        return -1;
    }
    return listening_socket(std::move(fd), backlog, kFunction);
}

bool set_socket_timeouts(int fd, int milliseconds) {
    if (milliseconds <= 0) {
        return refuse(EINVAL);  // zero would mean no bound at all
    }
    timeval limit{};
    limit.tv_sec = milliseconds / 1000;
    limit.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    return setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) == 0 &&
           setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit)) == 0;
}

bool wait_until_ready(int fd, short events, std::chrono::steady_clock::time_point deadline) {
    while (true) {
        const std::int64_t rest = milliseconds_until(deadline);
        if (rest <= 0) {
            return refuse(ETIMEDOUT);
        }
        pollfd watched{fd, events, 0};
        constexpr std::int64_t kLongestPoll = 3600000;
        const int ready =
            poll(&watched, 1, static_cast<int>(std::min<std::int64_t>(rest, kLongestPoll)));
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
    }
}

namespace {

bool may_come_later() {
    return errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK;
}

}  // namespace

bool send_until(int fd, std::string_view text, std::chrono::steady_clock::time_point deadline) {
    while (!text.empty()) {
        if (!wait_until_ready(fd, POLLOUT, deadline)) {
            return false;
        }
        const ssize_t sent = send(fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            text.remove_prefix(static_cast<std::size_t>(sent));
        } else if (!may_come_later()) {
            return false;
        }
    }
    return true;
}

ssize_t receive_until(int fd, std::string& text, std::chrono::steady_clock::time_point deadline) {
    char chunk[kReceiveChunkBytes];
    while (wait_until_ready(fd, POLLIN, deadline)) {
        const ssize_t received = recv(fd, chunk, sizeof(chunk), MSG_DONTWAIT);
        if (received >= 0) {
            text.append(chunk, static_cast<std::size_t>(received));
            return received;
        }
        if (!may_come_later()) {
            break;
        }
    }
    return -1;
}
