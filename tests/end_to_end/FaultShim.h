/// What a test tells the library that it loads into the daemon: how far the wall clock is off, and
/// where a signal is to strike. Both map the same file; the test owns it.
#pragma once

#include <atomic>
#include <cstdint>

/// Name of the environment variable that holds the file's path.
constexpr const char* kShimVariable = "LUMIVAD_FAULT_SHIM";

struct FaultShim {
    std::atomic<std::int32_t> is_loaded;
    std::atomic<std::int32_t> clock_offset_seconds;  ///< of the wall clock, not the monotonic one
    std::atomic<std::int32_t> signal_in_allocation;  ///< raised once, while the heap is locked
    std::atomic<std::int32_t> signal_in_syslog;      ///< raised once, while the log is locked
    std::atomic<std::int32_t> allocations_before;    ///< that go well before the signal
};
static_assert(std::atomic<std::int32_t>::is_always_lock_free, "shared between processes");
