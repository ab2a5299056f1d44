/// Resources that a process uses, from /proc. Stateless; any thread may call.
#pragma once

#include <cstddef>

#include <sys/types.h>

namespace simulator {

struct ProcessUse {
    std::size_t resident_kib = 0;
    std::size_t peak_kib = 0;  ///< since its start
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    double cpu_seconds = 0;  ///< user and system time since its start

    /// All zero if the process does not exist.
    static ProcessUse of(pid_t pid);
    /// The sample with the fewest descriptors of several within a fifth of a second: the use
    /// between two connections.
    static ProcessUse at_rest(pid_t pid);
};

}  // namespace simulator
