/// CPU time, wake-ups and memory of a process or thread, as the kernel counts them. Stateless.
/// Throws std::runtime_error when the process has ended or the kernel does not count.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

/// Since the start of the thread, or of all present threads of the process.
struct Cost {
    double cpu_ms = 0;
    double wakeups = 0;  ///< voluntary context switches

    static Cost of_thread(pid_t process, pid_t thread);
    static Cost of_process(pid_t process);
    Cost operator-(const Cost& other) const {
        return {cpu_ms - other.cpu_ms, wakeups - other.wakeups};
    }
};

struct Memory {
    double resident_kib = 0;
    double proportional_kib = 0;  ///< a page that n processes share counts one n-th
    double private_kib = 0;       ///< pages that no other process maps

    static Memory of(pid_t process);
};

/// In the order of their start.
std::vector<pid_t> threads_of(pid_t process);

void wait_ms(double length);

}  // namespace bench
