/// What a process or one of its threads costs the machine, as the kernel counts it. Stateless.
/// Throws std::runtime_error when it has ended, or when this kernel does not count.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

/// Since the start of the thread, or of all threads that a process has.
struct Cost {
    double cpu_ms = 0;
    double wakeups = 0;  ///< times that it came back from waiting

    static Cost of_thread(pid_t process, pid_t thread);
    static Cost of_process(pid_t process);
    Cost operator-(const Cost& other) const {
        return {cpu_ms - other.cpu_ms, wakeups - other.wakeups};
    }
};

struct Memory {
    double resident_kib = 0;
    double proportional_kib = 0;  ///< what is shared counts by the share
    double private_kib = 0;       ///< what would be free again without it

    static Memory of(pid_t process);
};

/// In the order in which they were started.
std::vector<pid_t> threads_of(pid_t process);

/// Waits, which is most of what a measurement does.
void wait_ms(double length);

}  // namespace bench
