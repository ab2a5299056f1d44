#include "simulator/journal/SystemLog.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace simulator {
namespace {

constexpr const char* kLogPath = "/dev/log";

sockaddr_un log_address() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, kLogPath, sizeof(address.sun_path) - 1);
    return address;
}

// "<131>Nov 22 21:21:49 lumivad[123]: text"; all but the text is optional.
LogLine parse(const std::string& datagram) {
    const char* rest = datagram.c_str();
    int code = 0;
    int pid = 0;
    char ident[64] = "";
    int length = 0;
    std::sscanf(rest, "<%d>%n", &code, &length);
    rest += std::exchange(length, 0);
    std::sscanf(rest, "%*3[A-Za-z] %*d %*d:%*d:%*d %n", &length);
    rest += std::exchange(length, 0);
    std::sscanf(rest, "%63[^:[]%n[%d]%n", ident, &length, &pid, &length);
    rest += length;
    rest += std::strncmp(rest, ": ", 2) == 0 ? 2 : 0;
    return {code % 8, code / 8, ident, pid, rest};
}

// Each sequence of blanks and line breaks becomes one blank.
std::string in_one_line(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

const char* priority_name(int priority) {
    return priority <= 3 ? "error" : priority == 4 ? "warning" : "info";
}

}  // namespace

SystemLog::SystemLog(Journal& journal, std::string program)
    : journal_(journal), program_(std::move(program)) {
    recover();
}

SystemLog::~SystemLog() {
    remove();
}

void SystemLog::inject_fault(const std::string& name) {
    end_thread();
    name == "full" ? fill_queue() : remove();
}

void SystemLog::recover() {
    if (!socket_) {
        open();
    }
    const std::lock_guard<std::mutex> lock(reading_mutex_);
    is_read_ = true;
    if (!thread_.joinable()) {
        thread_ = std::thread([this] {
            pollfd ready[2] = {{socket_.get(), POLLIN, 0}, {stop_.fd(), POLLIN, 0}};
            while (poll(ready, 2, -1) < 0 || ready[1].revents == 0) {
                sync();
            }
        });
    }
}

void SystemLog::open() {
    FileDescriptor fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = log_address();
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    // Outside a sandbox, removes the unused socket of an earlier log.
    const FileDescriptor probe(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (connect(probe.get(), name, sizeof(address)) != 0 && errno == ECONNREFUSED) {
        unlink(kLogPath);
    }
    if (bind(fd.get(), name, sizeof(address)) != 0) {
        throw std::system_error(errno, std::generic_category(), kLogPath);
    }
    chmod(kLogPath, 0666);
    socket_ = std::move(fd);
}

void SystemLog::remove() {
    end_thread();
    if (socket_) {
        unlink(kLogPath);
        socket_.reset();
    }
}

// Sends empty datagrams. The length of the queue depends on the system, and each sender has a limit
// of its own; the queue is full once a new sender has no room.
void SystemLog::fill_queue() const {
    const sockaddr_un address = log_address();
    for (bool has_room = true; has_room;) {
        has_room = false;
        const FileDescriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        while (sendto(sender.get(), "", 0, 0, reinterpret_cast<const sockaddr*>(&address),
                      sizeof(address)) >= 0) {
            has_room = true;
        }
    }
}

void SystemLog::end_thread() {
    if (thread_.joinable()) {
        stop_.set();
        thread_.join();
        stop_.clear();
    }
    const std::lock_guard<std::mutex> lock(reading_mutex_);
    is_read_ = false;
}

void SystemLog::sync() const {
    const std::lock_guard<std::mutex> lock(reading_mutex_);
    char buffer[8192];
    ssize_t length = 0;
    while (is_read_ &&
           (length = recv(socket_.get(), buffer, sizeof(buffer) - 1, MSG_DONTWAIT)) >= 0) {
        buffer[length] = '\0';  // a client may send one too
        const LogLine line = parse(buffer);
        if (length > 0 && (program_.empty() || line.ident == program_)) {
            const std::string text =
                std::string(priority_name(line.priority)) + ": " + in_one_line(line.text);
            journal_.add({EventKind::log, text, 0, {}, line});
        }
    }
}

}  // namespace simulator
