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

int milliseconds_until(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left + 1, 0, 60000));
}

}  // namespace

bool Connection::wait_ready(short events, Clock::time_point deadline) const {
    while (Clock::now() < deadline) {
        pollfd ready[2] = {{fd_.get(), events, 0}, {stop_fd_, POLLIN, 0}};
        const int count = poll(ready, 2, milliseconds_until(deadline));
        if (count > 0) {
            return ready[1].revents == 0;
        }
        if (count < 0 && errno != EINTR) {
            return false;
        }
    }
    return false;
}

bool Connection::pause(std::chrono::milliseconds length) const {
    const auto deadline = Clock::now() + length;
    while (Clock::now() < deadline) {
        pollfd stop{stop_fd_, POLLIN, 0};
        if (poll(&stop, 1, milliseconds_until(deadline)) > 0) {
            return false;
        }
    }
    return true;
}

std::string Connection::read_until(const std::function<bool(const std::string&)>& is_complete,
                                   std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    std::string text;
    char chunk[4096];
    while (!is_complete(text) && text.size() <= kMessageBytes && wait_ready(POLLIN, deadline)) {
        const ssize_t length = recv(fd_.get(), chunk, sizeof(chunk), MSG_DONTWAIT);
        if (length > 0) {
            text.append(chunk, static_cast<std::size_t>(length));
        } else if (length == 0 || (errno != EAGAIN && errno != EINTR)) {
            break;
        }
    }
    return text;
}

bool Connection::write(std::string_view text) {
    const auto deadline = Clock::now() + kWriteLimit;
    while (!text.empty()) {
        if (!wait_ready(POLLOUT, deadline)) {
            return false;
        }
        const ssize_t length =
            send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (length >= 0) {
            text.remove_prefix(static_cast<std::size_t>(length));
        } else if (errno != EAGAIN && errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool Connection::write_slowly(std::string_view text, std::chrono::milliseconds length) {
    return std::all_of(text.begin(), text.end(), [&](char byte) {
        return write(std::string_view(&byte, 1)) && pause(length);
    });
}

void Connection::hold(const std::function<bool()>& is_released) {
    // Only POLLRDHUP: bytes of the peer stay unread and do not end the wait.
    while (!is_released() && (recoveries_ == nullptr || *recoveries_ == recoveries_before_)) {
        pollfd ready[2] = {{fd_.get(), POLLRDHUP, 0}, {stop_fd_, POLLIN, 0}};
        if (poll(ready, 2, static_cast<int>(kHoldSlice.count())) > 0) {
            return;
        }
    }
}

void Connection::reset() {
    const linger at_once{1, 0};
    setsockopt(fd_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
    fd_.reset();
}

void Connection::finish() {
    if (!fd_) {
        return;
    }
    shutdown(fd_.get(), SHUT_WR);
    read_until([](const std::string&) { return false; }, kDrainLimit);
    fd_.reset();
}

}  // namespace simulator
