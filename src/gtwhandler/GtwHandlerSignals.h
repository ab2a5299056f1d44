/// The signals that the event loop handles, as a table.
///
/// A handler may interrupt malloc or syslog itself: it calls only async-signal-safe functions. It
/// logs through error_from_signal_handler; call prepare_signal_log() before.
#pragma once

#include <array>

namespace gtwhandlernamespace {

/// One signal, its handler, and its names in the texts of failures.
struct SignalAction {
    int number;
    void (*handler)(int);
    int flags;                ///< for sigaction
    const char* name;         ///< "SIGSEGV"
    const char* action_name;  ///< "segv_action"
};

/// In the order in which they are installed.
extern const std::array<SignalAction, 5> kSignalActions;

}  // namespace gtwhandlernamespace
