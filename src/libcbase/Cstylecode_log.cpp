#include "libcbase/Cstylecode.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include <syslog.h>

inline namespace cbase_log {

std::int32_t zel_log_facility = LOG_LOCAL0;

namespace {

constexpr std::size_t kLineBytes = 1024;

// Keeps errno for the caller, across calls that may set it.
class KeepErrno final {
  public:
    KeepErrno() = default;
    ~KeepErrno() { errno = errno_; }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

  private:
    int errno_ = errno;
};

// The line is made on the stack: xmalloc reports here that memory is out. The text goes to syslog
// as an argument, so that a '%' that came from outside is not read as a format.
[[gnu::format(printf, 2, 0)]] void log_line(int level, const char* format, va_list arguments) {
    const KeepErrno keep;
    char line[kLineBytes];
    if (std::vsnprintf(line, sizeof(line), format, arguments) >= 0) {
        syslog(zel_log_facility | level, "%s", line);
    }
}

}  // namespace

void openlogfile() {
    openlog(nullptr, LOG_PID | LOG_CONS, zel_log_facility);
}

void closelogfile() {
    closelog();
}

void error(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_ERR, format, arguments);
    va_end(arguments);
}

void warning(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_WARNING, format, arguments);
    va_end(arguments);
}

void info(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_INFO, format, arguments);
    va_end(arguments);
}

void verbose_info(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_INFO, format, arguments);
    va_end(arguments);
}

void logged_info(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_INFO, format, arguments);
    va_end(arguments);
}

void debug(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_DEBUG, format, arguments);
    va_end(arguments);
}

void verbose_debug(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line(LOG_DEBUG, format, arguments);
    va_end(arguments);
}

void byteinfo(const char* /*format*/, ...) {}

}  // namespace cbase_log
