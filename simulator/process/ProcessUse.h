/// What a process or thread uses, as /proc counts it. Stateless; any thread may call.
#pragma once

#include <cstddef>
#include <vector>

#include <sys/types.h>

namespace simulator {

struct ProcessUse {
    std::size_t resident_kib = 0;
    std::size_t proportional_kib = 0;  ///< a page that n processes share counts one n-th
    std::size_t private_kib = 0;       ///< pages that no other process maps
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    double cpu_seconds = 0;   ///< of its present threads since their start, to the nanosecond
    std::size_t wakeups = 0;  ///< voluntary context switches of these threads

    /// All zero if the process does not exist; no memory if it has ended and is not reaped.
    static ProcessUse of(pid_t process);
    /// cpu_seconds and wakeups only; zero if the thread does not exist.
    static ProcessUse of_thread(pid_t thread);
    /// The sample with the fewest descriptors of several within a fifth of a second: the use
    /// between two connections.
    static ProcessUse at_rest(pid_t process);
    /// The threads of a process, in the order of their start.
    static std::vector<pid_t> threads_of(pid_t process);
};

}  // namespace simulator
