#include "libcbase/log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <paths.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include "libcbase/FileDescriptor.h"

inline namespace cbase_log {

std::int32_t zel_log_facility = LOG_LOCAL0;

namespace {

constexpr std::size_t kLineBytes = 1024;

// Owns a socket to the system log through which nothing is sent.
class LogProbe final {
  public:
    LogProbe() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, _PATH_LOG, sizeof(address.sun_path) - 1);
        is_connected_ =
            connect(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }

    // False when the log's queue is full and stays so for that long. A log that is absent, or of
    // another kind, is not waited for.
    bool finds_room(int timeout_ms) const {
        pollfd queue{fd_.get(), POLLOUT, 0};
        int ready = 0;
        do {
            ready = is_connected_ ? poll(&queue, 1, timeout_ms) : 1;
        } while (ready < 0 && errno == EINTR);
        return ready != 0;
    }

  private:
    FileDescriptor fd_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    bool is_connected_ = false;
};

std::mutex log_mutex;  // guards lost_lines, and held for a line
unsigned long lost_lines = 0;

// syslog waits for room in the queue of the system log, without an end when the log does not read,
// and its own socket cannot be made non-blocking. So a probe checks first, a new one for each line:
// the log may have been restarted. (Another program may still take the last place in between.)
void write_line(int level, const char* line) {
    constexpr int kTimeoutMilliseconds = 250;  // once: then lines are lost until there is room
    const std::lock_guard<std::mutex> lock(log_mutex);
    const LogProbe probe;
    if (!probe.finds_room(lost_lines == 0 ? kTimeoutMilliseconds : 0)) {
        ++lost_lines;
        return;
    }
    if (lost_lines > 0) {
        syslog(zel_log_facility | LOG_WARNING, "%lu log lines lost", lost_lines);
        lost_lines = 0;
        if (!probe.finds_room(0)) {
            lost_lines = 1;
            return;
        }
    }
    syslog(zel_log_facility | level, "%s", line);
}

// The line is made on the stack: xmalloc logs here that memory is out. The text goes to syslog as
// an argument, so that a '%' from outside is not read as a format. The caller's errno is kept.
[[gnu::format(printf, 2, 0)]] void log_line(int level, const char* format, va_list arguments) {
    const int kept = errno;
    char line[kLineBytes];
    if (std::vsnprintf(line, sizeof(line), format, arguments) >= 0) {
        write_line(level, line);
    }
    errno = kept;
}

}  // namespace

void openlogfile() {
    openlog(nullptr, LOG_PID | LOG_CONS, zel_log_facility);
}

void closelogfile() {
    closelog();
}

// A list of arguments cannot be handed on to another "...", so each name needs a body of its own.
#define DEFINE_LOG_FUNCTION(name, level)    \
    void name(const char* format, ...) {    \
        va_list arguments;                  \
        va_start(arguments, format);        \
        log_line(level, format, arguments); \
        va_end(arguments);                  \
    }
DEFINE_LOG_FUNCTION(error, LOG_ERR)
DEFINE_LOG_FUNCTION(warning, LOG_WARNING)
DEFINE_LOG_FUNCTION(info, LOG_INFO)
DEFINE_LOG_FUNCTION(verbose_info, LOG_INFO)
DEFINE_LOG_FUNCTION(logged_info, LOG_INFO)
DEFINE_LOG_FUNCTION(debug, LOG_DEBUG)
DEFINE_LOG_FUNCTION(verbose_debug, LOG_DEBUG)
#undef DEFINE_LOG_FUNCTION

void byteinfo(const char* /*format*/, ...) {}

std::string escape_control_characters(std::string_view text) {
    std::string result;
    bool is_after_c2 = false;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool is_c1 = is_after_c2 && byte >= 0x80 && byte <= 0x9f;
        if (is_c1) {
            result.pop_back();
            result += "\\xc2";
        }
        if (is_c1 || byte < 0x20 || byte == 0x7f) {
            char escape[sizeof("\\xNN")];
            std::snprintf(escape, sizeof(escape), "\\x%02x", byte);
            result += escape;
        } else {
            result += character;
        }
        is_after_c2 = byte == 0xc2;
    }
    return result;
}

}  // namespace cbase_log
