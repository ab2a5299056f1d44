#include "libcbase/Cstylecode.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

void FileDescriptor::reset(int fd) noexcept {
    if (fd_ >= 0) {
        const int kept = errno;
        close(fd_);
        errno = kept;
    }
    fd_ = fd;
}

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

bool set_address(const char* path, sockaddr_un& address) {
    // An empty path would name a socket outside the file system.
    if (path == nullptr || *path == '\0') {
        return refuse(EINVAL);
    }
    const std::size_t size = std::strlen(path) + 1;
    if (size > sizeof(address.sun_path)) {
        return refuse(ENAMETOOLONG);
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, size);
    return true;
}

bool set_address(int port, sockaddr_in& address) {
    if (port < 0 || port > 65535) {
        return refuse(EINVAL);
    }
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return true;
}

bool set_address(const char* ip, int port, sockaddr_in& address) {
    if (!set_address(port, address)) {
        return false;
    }
    return (ip != nullptr && inet_pton(AF_INET, ip, &address.sin_addr) == 1) || refuse(EINVAL);
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
    // SO_SNDTIMEO would count anew, so each call is given what is left.
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
        // How Linux tells that SO_SNDTIMEO has passed: UNIX, TCP, and TCP after a signal.
        if (errno == EAGAIN || errno == EINPROGRESS || errno == EALREADY) {
            return refuse(ETIMEDOUT);
        }
        if (errno != EINTR) {
            return false;
        }
    }
}

FileDescriptor stream_socket(int family) {
    return FileDescriptor(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

// A bound socket that does not listen yet.
FileDescriptor bound_internet_socket(int port, const char* function) {
    FileDescriptor fd = stream_socket(AF_INET);
    if (!fd) {
        fail_with_pid(function, "socket");
        return FileDescriptor();
    }
    const int on = 1;
    if (setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0) {
        fail(function, "setsockopt");
        return FileDescriptor();
    }
    sockaddr_in address{};
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (!set_address(port, address) || !bind_to(fd.get(), address)) {
        fail(function, "bind");
        return FileDescriptor();
    }
    return fd;
}

}  // namespace

int make_internettcpclient_socket(const char* ip, int port, int milliseconds) {
    constexpr const char* kFunction = "make_internettcpclient_socket";
    FileDescriptor fd = stream_socket(AF_INET);
    if (!fd) {
        return fail_with_pid(kFunction, "socket");
    }
    sockaddr_in address{};
    if (!set_address(ip, port, address) || !connect_within_limit(fd.get(), address, milliseconds)) {
        return fail_with_pid(kFunction, "connect");
    }
    return fd.release();
}

int make_localtcpclient_socket(const char* path, int milliseconds) {
    constexpr const char* kFunction = "make_localtcpclient_socket";
    FileDescriptor fd = stream_socket(AF_UNIX);
    if (!fd) {
        return fail_with_pid(kFunction, "socket");
    }
    sockaddr_un address{};
    if (!set_address(path, address) || !connect_within_limit(fd.get(), address, milliseconds)) {
        return fail_with_pid(kFunction, "connect");
    }
    return fd.release();
}

int make_local_socket(const char* path, int backlog) {
    constexpr const char* kFunction = "make_local_socket";
    FileDescriptor fd = stream_socket(AF_UNIX);
    if (!fd) {
        return fail_with_pid(kFunction, "socket");
    }
    sockaddr_un address{};
    if (!set_address(path, address)) {
        return fail(kFunction, "bind");
    }
    unlink(path);
    if (!bind_to(fd.get(), address)) {
        return fail(kFunction, "bind");
    }
    if (chmod(path, S_IRWXU | S_IRWXG | S_IRWXO) != 0) {
        return fail(kFunction, "chmod");
    }
    if (listen(fd.get(), backlog) != 0) {
        return fail(kFunction, "listen");
    }
    return fd.release();
}

int make_internet_socket(int port, int backlog) {
    constexpr const char* kFunction = "make_internet_socket";
    FileDescriptor fd = bound_internet_socket(port, kFunction);
    if (!fd) {
        return -1;
    }
    if (listen(fd.get(), backlog) != 0) {
        return fail(kFunction, "listen");
    }
    return fd.release();
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
    if (listen(fd.get(), backlog) != 0) {
        return fail(kFunction, "listen");
    }
    return fd.release();
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
