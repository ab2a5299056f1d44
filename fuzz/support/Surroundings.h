/// What a fuzz program has around it instead of the system: a clock of its own, sleeps that end at
/// once, and a system log that only looks at its lines.
///
/// The programs replace the C library's functions for these, so that the product runs as it is, but
/// neither waits nor fills the machine's log. One thread.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace fuzzing {

/// The monotonic clock goes on by this much at each look at it, and by every sleep.
void set_clock_step(std::chrono::nanoseconds step);
void advance_clock(std::chrono::nanoseconds duration);

/// Ends the run with `what`, as a crash whose input libFuzzer keeps, unless it holds.
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "Does not hold: %s\n", what);
        std::abort();
    }
}

}  // namespace fuzzing
