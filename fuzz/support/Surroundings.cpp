#include "fuzz/support/Surroundings.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>

#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr std::size_t kLongestLogLine = 1023;

std::chrono::nanoseconds now = std::chrono::hours(1);
std::chrono::nanoseconds step = std::chrono::microseconds(1);

void check_line(const char* format, va_list arguments) {
    fuzzing::require(std::string_view(format) == "%s", "text from outside is not a format");
    fuzzing::require(std::strlen(va_arg(arguments, const char*)) <= kLongestLogLine,
                     "the length of a log line is limited");
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

extern "C" {

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::check_input({reinterpret_cast<const char*>(data), size});
    return 0;
}

// A small quarantine fits into the processor's cache. The daemon's own signal handlers would hide a
// crash.
const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    return "quarantine_size_mb=8:malloc_context_size=8:handle_segv=2:handle_abort=2";
}

// The rest replaces the C library's functions for the program and its libraries.

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
    now += std::chrono::seconds(duration->tv_sec) + std::chrono::nanoseconds(duration->tv_nsec);
    return 0;
}

void syslog(int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    check_line(format, arguments);
    va_end(arguments);
}

// What _FORTIFY_SOURCE makes of syslog.
void __syslog_chk(int, int, const char* format, ...) {  // NOLINT(bugprone-reserved-identifier)
    va_list arguments;
    va_start(arguments, format);
    check_line(format, arguments);
    va_end(arguments);
}

}  // extern "C"
