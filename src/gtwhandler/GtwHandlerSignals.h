/// The signals that the event loop handles, as a table.
///
/// A handler may interrupt malloc or syslog itself: it calls only async-signal-safe functions. It
/// logs through error_from_signal_handler; call prepare_signal_log() before.
#pragma once

#include <array>

namespace gtwhandlernamespace {

/// How one signal is handled.
struct SignalAction {
    /// The arguments of sigaction.
    int number;
    void (*handler)(int);
    int flags;
    /// Its names in the texts of failures: "SIGSEGV" and "segv_action".
    const char* name;
    const char* action_name;
};

/// In the order in which they are installed.
extern const std::array<SignalAction, 5> kSignalActions;

}  // namespace gtwhandlernamespace
