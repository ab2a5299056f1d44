#include "huelib/LinHttpHandler.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kReadChunkBytes = 127;
constexpr std::size_t kDatagramBytes = 2048;
constexpr std::size_t kMaxMulticastBytes = std::size_t{4} << 20;
constexpr std::size_t kBrokenAnswerBytes = 3;
constexpr milliseconds kShortestLimit{1};
constexpr milliseconds kLongestLimit{std::chrono::hours(1)};
constexpr int kLastPort = 65535;
constexpr const char* kReadFailure = "LinHttpHandler: Failed to read response from socket";

// Throws with the value that errno has now.
[[noreturn]] void fail(const char* step) {
    throw std::system_error(errno, std::generic_category(), step);
}

class Socket final {
  public:
    Socket(int type, const char* failure) : fd(::socket(AF_INET, type | SOCK_CLOEXEC, 0)) {
        if (fd < 0) {
            fail(failure);
        }
    }
    ~Socket() { ::close(fd); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int get() const { return fd; }

  private:
    int fd;
};

// A socket takes 0 for no limit. Far above an hour, neither its seconds on 32 bits nor a deadline
// can represent the limit.
LinHttpHandler::Limits withinRange(LinHttpHandler::Limits limits) {
    for (milliseconds* limit : {&limits.blocked, &limits.answer}) {
        *limit = std::clamp(*limit, kShortestLimit, kLongestLimit);
    }
    return limits;
}

// The reentrant form, since any thread may send. The exception carries the errno of the resolver.
sockaddr_in resolve(const std::string& adr, int port, const char* failure) {
    if (port < 1 || port > kLastPort) {
        errno = EINVAL;
        fail(failure);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    // Most are addresses, for which the resolver need not read its configuration.
    if (::inet_pton(AF_INET, adr.c_str(), &address.sin_addr) == 1) {
        return address;
    }
    constexpr std::size_t kMaxBufferBytes = std::size_t{1} << 20;
    std::string buffer(1024, '\0');
    hostent entry{};
    hostent* found = nullptr;
    int resolverError = 0;
    while (::gethostbyname_r(adr.c_str(), &entry, buffer.data(), buffer.size(), &found,
                             &resolverError) == ERANGE &&
           buffer.size() < kMaxBufferBytes) {
        buffer.resize(buffer.size() * 2);
    }
    if (found == nullptr || found->h_addr_list[0] == nullptr) {
        fail(failure);
    }
    std::memcpy(&address.sin_addr, found->h_addr_list[0],
                std::min(static_cast<std::size_t>(found->h_length), sizeof address.sin_addr));
    return address;
}

bool limitBlocking(const Socket& socket, int option, milliseconds limit) {
    timeval time{};
    time.tv_sec = static_cast<time_t>(limit.count() / 1000);
    time.tv_usec = static_cast<suseconds_t>(limit.count() % 1000 * 1000);
    return ::setsockopt(socket.get(), SOL_SOCKET, option, &time, sizeof time) == 0;
}

// An interrupted connect continues in the background: wait for its end and read its result.
bool finishConnecting(const Socket& socket, steady_clock::time_point deadline) {
    pollfd writable{socket.get(), POLLOUT, 0};
    int ready = -1;
    do {
        const auto left =
            std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        ready = ::poll(&writable, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0) {
        errno = ready == 0 ? EINPROGRESS : errno;  // as a blocking connect reports a timeout
        return false;
    }
    int outcome = 0;
    socklen_t size = sizeof outcome;
    if (::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &outcome, &size) != 0) {
        return false;
    }
    errno = outcome;
    return outcome == 0;
}

bool connectTo(const Socket& socket, const sockaddr_in& address, milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return true;
    }
    return errno == EINTR && finishConnecting(socket, deadline);
}

void writeAll(const Socket& socket, const std::string& msg) {
    std::size_t written = 0;
    while (written < msg.size()) {
        const ssize_t count =
            ::send(socket.get(), msg.data() + written, msg.size() - written, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            fail("LinHttpHandler: Failed to write message to socket");
        }
        if (count == 0) {
            return;
        }
        written += static_cast<std::size_t>(count);
    }
}

// A peer that sends a few bytes at a time never reaches the limit of a single read: the last reads
// get what is left of the limit of the answer.
void limitNextRead(const Socket& socket, const LinHttpHandler::Limits& limits,
                   steady_clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
    if (left <= milliseconds::zero()) {
        errno = EAGAIN;
        fail(kReadFailure);
    }
    if (left < limits.blocked && !limitBlocking(socket, SO_RCVTIMEO, left)) {
        fail(kReadFailure);
    }
}

std::string readAnswer(const Socket& socket, const LinHttpHandler::Limits& limits) {
    const auto deadline = steady_clock::now() + limits.answer;
    char buffer[kReadChunkBytes + 1] = {};
    std::string answer;
    while (true) {
        limitNextRead(socket, limits, deadline);
        const ssize_t count = ::read(socket.get(), buffer, kReadChunkBytes);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            fail(kReadFailure);
        }
        if (count == 0) {
            return answer;
        }
        if (static_cast<std::size_t>(count) > limits.answerBytes - answer.size()) {
            errno = EMSGSIZE;
            fail(kReadFailure);
        }
        answer.append(buffer, static_cast<std::size_t>(count));
    }
}

// Busy waiting, on purpose: the caller gives its thread for the whole period.
std::string collectDatagrams(const Socket& socket, int timeoutSeconds) {
    const auto period = std::chrono::seconds(timeoutSeconds);
    const auto start = steady_clock::now();
    char buffer[kDatagramBytes] = {};
    std::string collected;
    while (steady_clock::now() - start < period) {
        const ssize_t count = ::recv(socket.get(), buffer, sizeof buffer, MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            fail("LinHttpHandler: sendMulticast: Failed to read response from socket");
        }
        if (count > 0 && static_cast<std::size_t>(count) <= kMaxMulticastBytes - collected.size()) {
            collected.append(buffer, static_cast<std::size_t>(count));
        }
    }
    return collected;
}

std::vector<std::string> splitAtEmptyLines(const std::string& text) {
    static const std::string kEmptyLine = "\r\n\r\n";
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t end = text.find(kEmptyLine); end != std::string::npos;
         end = text.find(kEmptyLine, start)) {
        parts.push_back(text.substr(start, end - start));
        start = end + kEmptyLine.size();
    }
    return parts;
}

}  // namespace

std::string LinHttpHandler::send(const std::string& msg, const std::string& adr, int port) const {
    return exchange(msg, adr, port, Limits{});
}

std::string LinHttpHandler::exchange(const std::string& msg, const std::string& adr, int port,
                                     const Limits& limits) {
    const Limits bounded = withinRange(limits);
    const Socket socket(SOCK_STREAM, "LinHttpHandler: Failed to open socket");
    if (!limitBlocking(socket, SO_RCVTIMEO, bounded.blocked)) {
        fail("LinHttpHandler: Failed to set receive timeout on socket");
    }
    if (!limitBlocking(socket, SO_SNDTIMEO, bounded.blocked)) {
        fail("LinHttpHandler: Failed to set send timeout on socket");
    }
    const sockaddr_in address = resolve(adr, port, "LinHttpHandler: gethostbyname");
    if (!connectTo(socket, address, bounded.blocked)) {
        fail("LinHttpHandler: Failed to connect socket");
    }
    writeAll(socket, msg);
    std::string answer = readAnswer(socket, bounded);
    // Only an answer of exactly three bytes counts as incomplete.
    if (answer.size() == kBrokenAnswerBytes) {
        throw std::runtime_error("LinHttpHandler: Failed to store complete response from socket\n");
    }
    return answer;
}

std::vector<std::string> LinHttpHandler::sendMulticast(const std::string& msg,
                                                       const std::string& adr, int port,
                                                       int timeout) const {
    const sockaddr_in address =
        resolve(adr, port, "LinHttpHandler: sendMulticast: Failed to obtain address of host");
    const Socket socket(SOCK_DGRAM, "LinHttpHandler: sendMulticast: Failed to open socket");
    ssize_t sent = -1;
    do {
        sent = ::sendto(socket.get(), msg.data(), msg.size(), MSG_NOSIGNAL,
                        reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0) {
        fail("LinHttpHandler: sendMulticast: Failed to send message");
    }
    return splitAtEmptyLines(collectDatagrams(socket, timeout));
}
