// Loaded into the daemon before the C library: shifts its wall clock and raises signals inside an
// allocation or a log call. These hold a lock, as in the C library: a signal handler that allocates
// or logs would not return.
#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
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

class SpinLock final {
  public:
    explicit SpinLock(std::atomic_flag& flag) : flag_(flag) {
        while (flag_.test_and_set(std::memory_order_acquire)) {
            usleep(10);
        }
    }
    ~SpinLock() { flag_.clear(std::memory_order_release); }
    SpinLock(const SpinLock&) = delete;
    SpinLock& operator=(const SpinLock&) = delete;

  private:
    std::atomic_flag& flag_;
};

std::atomic_flag log_lock = ATOMIC_FLAG_INIT;

void log_call(int priority, const char* format, va_list arguments) {
    static const auto real =
        reinterpret_cast<void (*)(int, const char*, va_list)>(dlsym(RTLD_NEXT, "vsyslog"));
    const SpinLock lock(log_lock);
    if (shim != nullptr && shim->signal_in_syslog != 0) {
        raise(shim->signal_in_syslog.exchange(0));
    }
    real(priority, format, arguments);
}

// A time_t of 32 bits wraps, as it does on the board.
time_t shifted(time_t seconds) {
    const std::int64_t offset = shim == nullptr ? 0 : shim->clock_offset_seconds.load();
    return static_cast<time_t>(seconds + offset);
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

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static const auto real =
        reinterpret_cast<int (*)(clockid_t, timespec*)>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = real(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        time->tv_sec = shifted(time->tv_sec);
    }
    return result;
}

int gettimeofday(timeval* time, void* zone) noexcept {
    static const auto real =
        reinterpret_cast<int (*)(timeval*, void*)>(dlsym(RTLD_NEXT, "gettimeofday"));
    const int result = real(time, zone);
    if (result == 0) {
        time->tv_sec = shifted(time->tv_sec);
    }
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

std::atomic_flag heap_lock = ATOMIC_FLAG_INIT;

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
    const SpinLock lock(heap_lock);
    raise_in_allocation();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    const SpinLock lock(heap_lock);
    raise_in_allocation();
    return __libc_calloc(count, size);
}

}  // extern "C"

#endif
