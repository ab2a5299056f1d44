#include "simulator/net/Connection.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

namespace simulator {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kWriteLimit{5};
constexpr std::chrono::seconds kDrainLimit{1};
constexpr std::chrono::milliseconds kHoldSlice{50};

}  // namespace

bool Connection::wait_for(short events, Clock::time_point deadline) const {
    pollfd ready[2] = {{fd_.get(), events, 0}, {stop_fd_, POLLIN, 0}};
    int count = 0;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        count = poll(ready, 2, static_cast<int>(std::max<long long>(0, left.count())));
    } while (count < 0 && errno == EINTR);
    return count > 0 && ready[1].revents == 0;
}

std::string Connection::read_until(const std::function<bool(const std::string&)>& is_complete,
                                   std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    std::string text;
    char chunk[4096];
    while (!is_complete(text) && text.size() <= kMessageBytes && wait_for(POLLIN, deadline)) {
        const ssize_t length = recv(fd_.get(), chunk, sizeof(chunk), MSG_DONTWAIT);
        if (length > 0) {
            text.append(chunk, static_cast<std::size_t>(length));
        } else if (length == 0 || (errno != EAGAIN && errno != EINTR)) {
            break;
        }
    }
    return text;
}

std::string Connection::read_all(std::chrono::milliseconds limit) {
    return read_until([](const std::string&) { return false; }, limit);
}

bool Connection::write(std::string_view text) {
    const auto deadline = Clock::now() + kWriteLimit;
    while (!text.empty() && wait_for(POLLOUT, deadline)) {
        const ssize_t length =
            send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (length >= 0) {
            text.remove_prefix(static_cast<std::size_t>(length));
        } else if (errno != EAGAIN && errno != EINTR) {
            return false;
        }
    }
    return text.empty();
}

void Connection::pause(std::chrono::milliseconds length) const {
    wait_for(0, Clock::now() + length);
}

bool Connection::write_slowly(std::string_view text, std::chrono::milliseconds length) {
    return std::all_of(text.begin(), text.end(), [&](char byte) {
        const bool is_sent = write(std::string_view(&byte, 1));
        pause(length);
        return is_sent;
    });
}

void Connection::hold() const {
    // Only POLLRDHUP: bytes of the peer stay unread and do not end the wait.
    while (recoveries_ == recoveries_before_ && !wait_for(POLLRDHUP, Clock::now() + kHoldSlice)) {
    }
}

void Connection::reset() {
    const linger at_once{1, 0};
    setsockopt(fd_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
    fd_.reset();
}

void Connection::finish() {
    if (fd_) {
        shutdown(fd_.get(), SHUT_WR);
        read_all(kDrainLimit);
        fd_.reset();
    }
}

std::string exchange(int port, const std::string& request, std::chrono::milliseconds limit) {
    FileDescriptor fd(make_internettcpclient_socket("127.0.0.1", port));
    if (!fd) {
        return {};
    }
    Connection connection(std::move(fd));
    connection.write(request);
    return connection.read_all(limit);
}

}  // namespace simulator
