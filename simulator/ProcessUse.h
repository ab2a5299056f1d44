/// What a running process takes from the machine, read from /proc. Stateless; any thread may call.
#pragma once

#include <cstddef>

#include <sys/types.h>

namespace simulator {

struct ProcessUse {
    std::size_t resident_kib = 0;
    std::size_t peak_kib = 0;  ///< the largest resident memory since its start
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    double cpu_seconds = 0;  ///< of user and system since its start

    /// All zero when there is no such process.
    static ProcessUse of(pid_t pid);
    /// Of several looks over a fifth of a second the one with the fewest descriptors: what the
    /// process holds between two connections.
    static ProcessUse at_rest(pid_t pid);
};

}  // namespace simulator
