// In the coverage build only, before the C library's own: a process that ends by _exit, as the
// daemon does in its signal handlers, would lose what it has counted.
#include <csignal>
#include <cstdlib>

#include <unistd.h>

extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier)

namespace {

constexpr useconds_t kLimitMicroseconds = 500000;

volatile std::sig_atomic_t exit_status = 0;

}  // namespace

extern "C" void _exit(int status) {
    // What is written allocates. A handler that interrupted an allocation would wait for it without
    // end, or find the heap half changed; it goes without its counts.
    exit_status = status;
    constexpr int kEnds[] = {SIGALRM, SIGABRT, SIGSEGV};
    for (const int end : kEnds) {
        std::signal(end, [](int) { _Exit(exit_status); });
    }
    ualarm(kLimitMicroseconds, 0);
    __gcov_dump();
    _Exit(status);
}
