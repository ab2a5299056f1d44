// Loaded into the daemon before the C library: shifts its wall clock and raises signals inside an
// allocation or a log call. These hold a lock, as in the C library: a signal handler that allocates
// or logs would not return.
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <mutex>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include "simulator/process/FaultShim.h"

namespace {

FaultShim* shim = nullptr;

[[gnu::constructor]] void load() {
    const char* path = std::getenv(kShimVariable);
    const int fd = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return;
    }
    void* const memory =
        mmap(nullptr, sizeof(FaultShim), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (memory != MAP_FAILED) {
        shim = static_cast<FaultShim*>(memory);
        shim->is_loaded = 1;
    }
}

std::mutex log_mutex;

void log_call(int priority, const char* format, va_list arguments) {
    const std::lock_guard<std::mutex> lock(log_mutex);
    if (shim != nullptr && shim->signal_in_syslog != 0) {
        raise(shim->signal_in_syslog.exchange(0));
    }
    vsyslog(priority, format, arguments);
}

}  // namespace

extern "C" {

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_call(priority, format, arguments);
    va_end(arguments);
}

// syslog in a build with _FORTIFY_SOURCE.
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {  // NOLINT
    va_list arguments;
    va_start(arguments, format);
    log_call(priority, format, arguments);
    va_end(arguments);
}

// A time_t of 32 bits wraps, as it does on the board.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const long result = syscall(SYS_clock_gettime, clock, time);
    if (shim != nullptr && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        time->tv_sec = static_cast<time_t>(time->tv_sec + std::int64_t{shim->clock_offset_seconds});
    }
    return static_cast<int>(result);
}

int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return result;
}

time_t time(time_t* result) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

}  // extern "C"

// A sanitizer replaces these itself.
#ifndef FAULT_SHIM_WITHOUT_HEAP

namespace {

std::mutex heap_mutex;

void raise_in_allocation() {
    if (shim != nullptr && shim->signal_in_allocation != 0 && shim->allocations_before-- <= 0) {
        raise(shim->signal_in_allocation.exchange(0));
    }
}

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);                     // NOLINT
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT

void* malloc(std::size_t size) {
    const std::lock_guard<std::mutex> lock(heap_mutex);
    raise_in_allocation();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    const std::lock_guard<std::mutex> lock(heap_mutex);
    raise_in_allocation();
    return __libc_calloc(count, size);
}

}  // extern "C"

#endif
