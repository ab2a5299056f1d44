#include "gtwhandler/GtwHandlerSignals.h"

#include <csignal>
#include <cstdlib>

#include <unistd.h>

#include "libcbase/log.h"

namespace gtwhandlernamespace {
namespace {

// A handler that ends the process may wait for room in the logger's queue; the others must not.
constexpr int kLastLineMilliseconds = 500;

// The texts are complete at compile time: a handler has no room to compose one.
template <std::size_t Size>
void log_text(const char (&text)[Size], int timeout_ms = 0) {
    error_from_signal_handler(text, Size - 1, timeout_ms);
}

void handle_segmentation_fault(int) {
    log_text(
        "gtwhandler->gtwHandlerSigsegvHandler called, the instance receive a 'Segmentation Fault' "
        "signal, check code",
        kLastLineMilliseconds);
    _exit(EXIT_FAILURE);
}

void handle_abort(int) {
    log_text(
        "gtwhandler->gtwHandlerSigabrtHandler called, the instance receive a 'Abort' signal, "
        "memory problem",
        kLastLineMilliseconds);
    _exit(EXIT_FAILURE);
}

void handle_broken_pipe(int) {
    log_text(
        "gtwhandler->gtwHandlerSigpipeHandler called, the instance receive a 'Pipe' signal, some "
        "handlers went down");
}

void handle_child(int) {
    log_text(
        "gtwhandler->gtwHandlerSigchldHandler called, the instance receive a 'Child' signal, some "
        "handlers went down");
}

void handle_termination(int) {
    _exit(EXIT_SUCCESS);
}

}  // namespace

// SIGPIPE and SIGCHLD do not end the process: the call that they interrupt is restarted.
const std::array<SignalAction, 5> kSignalActions{{
    {SIGSEGV, handle_segmentation_fault, 0, "SIGSEGV", "segv_action"},
    {SIGABRT, handle_abort, 0, "SIGABRT", "abrt_action"},
    {SIGPIPE, handle_broken_pipe, SA_RESTART, "SIGPIPE", "pipe_action"},
    {SIGCHLD, handle_child, SA_RESTART, "SIGCHLD", "chld_action"},
    {SIGTERM, handle_termination, 0, "SIGTERM", "term_action"},
}};

}  // namespace gtwhandlernamespace
