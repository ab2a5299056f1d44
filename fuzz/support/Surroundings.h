/// The simulated system of a fuzz program: a clock, sleeps that end at once, and a system log that
/// only checks its lines.
///
/// These replace the C library's functions, so that the unchanged product neither waits nor writes
/// to the machine's log. One thread.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace fuzzing {

/// Defined by each program: runs the parser on `input` and requires what holds for every input.
void check_input(std::string_view input);

/// The monotonic clock advances by `step` whenever it is read, and by every sleep.
void set_clock_step(std::chrono::nanoseconds step);
void advance_clock(std::chrono::nanoseconds duration);

/// Aborts with `what` unless `holds`; libFuzzer then keeps the input.
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "Violated: %s\n", what);
        std::abort();
    }
}

}  // namespace fuzzing
