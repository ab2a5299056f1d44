/// Controls the library that a test loads into the daemon: the offset of the wall clock, and where
/// to raise a signal. Test and library map the same file; the test owns it.
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
    std::atomic<std::int32_t> allocations_before;    ///< number of allocations before the signal
};
static_assert(std::atomic<std::int32_t>::is_always_lock_free, "shared between processes");
