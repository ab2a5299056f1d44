#include "fuzz/support/Surroundings.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <string_view>

#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr std::size_t kLongestLogLine = 1023;

std::chrono::nanoseconds now = std::chrono::hours(1);
std::chrono::nanoseconds step = std::chrono::microseconds(1);

std::chrono::nanoseconds duration_of(const timespec& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

namespace fuzzing {

void set_clock_step(std::chrono::nanoseconds new_step) {
    step = new_step;
}

void advance_clock(std::chrono::nanoseconds duration) {
    now += duration;
}

}  // namespace fuzzing

// A small quarantine fits into the processor's cache. The daemon's own signal handlers would hide a
// crash.
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    return "quarantine_size_mb=8:malloc_context_size=8:handle_segv=2:handle_abort=2";
}

// Replace the C library's functions for the program and its libraries.
extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (clock != CLOCK_MONOTONIC) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    now += step;
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(now);
    time->tv_sec = static_cast<time_t>(whole.count());
    time->tv_nsec = static_cast<long>((now - whole).count());
    return 0;
}

int nanosleep(const timespec* duration, timespec*) {
    fuzzing::advance_clock(duration_of(*duration));
    return 0;
}

int clock_nanosleep(clockid_t, int flags, const timespec* time, timespec*) {
    const auto end = duration_of(*time);
    fuzzing::advance_clock((flags & TIMER_ABSTIME) == 0 ? end : std::max(end - now, {}));
    return 0;
}

void openlog(const char*, int, int) {}
void closelog() {}

// Checks that every log line is one text of limited length.
void syslog(int, const char* format, ...) {
    fuzzing::require(std::string_view(format) == "%s", "text from outside is not a format");
    va_list arguments;
    va_start(arguments, format);
    fuzzing::require(std::strlen(va_arg(arguments, const char*)) <= kLongestLogLine,
                     "the length of a log line is limited");
    va_end(arguments);
}

}  // extern "C"
