// Replaces the C library's _exit in the coverage build: a process that ends by _exit, as the daemon
// does in its signal handlers, would lose its counts.
#include <csignal>
#include <cstdlib>

#include <unistd.h>

extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier)

namespace {

constexpr useconds_t kLimitMicroseconds = 500000;

volatile std::sig_atomic_t exit_status = 0;

}  // namespace

extern "C" void _exit(int status) {
    // Writing the counts allocates. A handler that interrupted an allocation would wait for ever or
    // find an inconsistent heap; then the process ends without its counts.
    exit_status = status;
    constexpr int kEnds[] = {SIGALRM, SIGABRT, SIGSEGV};
    for (const int end : kEnds) {
        std::signal(end, [](int) { _Exit(exit_status); });
    }
    ualarm(kLimitMicroseconds, 0);
    __gcov_dump();
    _Exit(status);
}
