#include "simulator/journal/SystemLog.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace simulator {
namespace {

constexpr const char* kLogPath = "/dev/log";
constexpr const char* kMark = "mark of sync";
constexpr const char* kFiller = "filler of stop_reading";
constexpr std::chrono::seconds kCatchUpLimit{5};
constexpr std::size_t kStampLength = 16;  // "Nov 22 21:21:49 "

sockaddr_un log_address() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, kLogPath, sizeof(address.sun_path) - 1);
    return address;
}

// "<131>Nov 22 21:21:49 lumivad[123]: text"; the time stamp is optional.
SystemLog::Line parse(std::string datagram) {
    while (!datagram.empty() && datagram.back() == '\0') {
        datagram.pop_back();
    }
    SystemLog::Line line;
    std::size_t at = 0;
    if (!datagram.empty() && datagram[0] == '<') {
        const int code = std::atoi(datagram.c_str() + 1);
        line.priority = code % 8;
        line.facility = code / 8;
        at = std::min(datagram.find('>') + 1, datagram.size());
    }
    if (datagram.size() >= at + kStampLength && datagram[at + 3] == ' ' &&
        datagram[at + 9] == ':' && datagram[at + 12] == ':') {
        at += kStampLength;
    }
    const std::size_t colon = datagram.find(": ", at);
    if (colon == std::string::npos) {
        line.text = datagram.substr(at);
        return line;
    }
    line.ident = datagram.substr(at, colon - at);
    const std::size_t bracket = line.ident.find('[');
    if (bracket != std::string::npos) {
        line.pid = std::atoi(line.ident.c_str() + bracket + 1);
        line.ident.resize(bracket);
    }
    line.text = datagram.substr(colon + 2);
    return line;
}

}  // namespace

SystemLog::SystemLog() {
    open();
    thread_ = std::thread([this] { receive(); });
}

void SystemLog::open() {
    socket_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket_) {
        throw std::system_error(errno, std::generic_category(), "system log");
    }
    const sockaddr_un address = log_address();
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    // Outside a sandbox, removes the unused socket of an earlier log.
    const FileDescriptor probe(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (connect(probe.get(), name, sizeof(address)) != 0 && errno == ECONNREFUSED) {
        unlink(kLogPath);
    }
    if (bind(socket_.get(), name, sizeof(address)) != 0) {
        throw std::system_error(errno, std::generic_category(), kLogPath);
    }
    chmod(kLogPath, 0666);
}

const FaultTable<SystemLog>& SystemLog::faults() {
    static const FaultTable<SystemLog> kFaults = {
        {"cut", [](SystemLog& log, int) { log.stop(); }},           // removes /dev/log
        {"full", [](SystemLog& log, int) { log.stop_reading(); }},  // fills the queue
    };
    return kFaults;
}

SystemLog::~SystemLog() {
    stop();
}

void SystemLog::stop() {
    end_thread();
    if (socket_) {
        unlink(kLogPath);
        socket_.reset();
    }
}

// The length of the queue depends on the system, and each sender has a limit of its own. The queue
// is full once a new sender has no room.
void SystemLog::stop_reading() {
    end_thread();
    const sockaddr_un address = log_address();
    bool has_room = true;
    while (has_room) {
        has_room = false;
        const FileDescriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        while (sendto(sender.get(), kFiller, std::strlen(kFiller), 0,
                      reinterpret_cast<const sockaddr*>(&address), sizeof(address)) >= 0) {
            has_room = true;
        }
    }
}

void SystemLog::end_thread() {
    is_reading_ = false;
    if (thread_.joinable()) {
        stop_.set();
        thread_.join();
        stop_.clear();
    }
}

void SystemLog::recover() {
    if (!socket_) {
        open();
    }
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { receive(); });
    }
    is_reading_ = true;
}

void SystemLog::on_line(std::function<void(const Line&)> listener) {
    const std::lock_guard<std::mutex> lock(mutex_);
    listener_ = std::move(listener);
}

void SystemLog::receive() {
    char buffer[8192];
    for (;;) {
        pollfd ready[2] = {{socket_.get(), POLLIN, 0}, {stop_.fd(), POLLIN, 0}};
        if (poll(ready, 2, -1) < 0) {
            continue;
        }
        if ((ready[0].revents & POLLIN) != 0) {
            const ssize_t length = recv(socket_.get(), buffer, sizeof(buffer), MSG_DONTWAIT);
            if (length > 0) {
                take(std::string(buffer, static_cast<std::size_t>(length)));
            }
        } else if (ready[1].revents != 0) {
            return;
        }
    }
}

void SystemLog::take(std::string datagram) {
    if (datagram == kFiller) {
        return;
    }
    if (datagram != kMark) {
        keep(parse(std::move(datagram)));
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);  // so that sync() cannot miss it
        ++marks_seen_;
    }
    arrived_.notify_all();
}

void SystemLog::keep(const Line& line) {
    std::function<void(const Line&)> listener;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
        listener = listener_;
    }
    arrived_.notify_all();
    if (listener) {
        listener(line);
    }
}

std::vector<SystemLog::Line> SystemLog::lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

std::size_t SystemLog::count_locked(const std::string& part) const {
    return static_cast<std::size_t>(std::count_if(
        lines_.begin(), lines_.end(),
        [&part](const Line& line) { return line.text.find(part) != std::string::npos; }));
}

std::size_t SystemLog::count(const std::string& part) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return count_locked(part);
}

bool SystemLog::wait_for(const std::string& part, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return arrived_.wait_for(lock, limit, [this, &part] { return count_locked(part) > 0; });
}

void SystemLog::clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

void SystemLog::sync() {
    const std::lock_guard<std::mutex> one_at_a_time(mark_mutex_);
    const sockaddr_un address = log_address();
    const FileDescriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const std::uint64_t before = marks_seen_;
    set_socket_timeouts(sender.get(), 1000);  // if the fault comes now
    if (!is_reading_ || sendto(sender.get(), kMark, std::strlen(kMark), 0,
                               reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0) {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    arrived_.wait_for(lock, kCatchUpLimit,
                      [this, before] { return marks_seen_ != before || !is_reading_; });
}

}  // namespace simulator
