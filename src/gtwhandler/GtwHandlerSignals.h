/// The signals that the event loop handles, as a table.
///
/// A handler may interrupt malloc or syslog itself: it calls only async-signal-safe functions, and
/// its line goes through error_from_signal_handler, which prepare_signal_log() has to have
/// prepared.
#pragma once

#include <array>

namespace gtwhandlernamespace {

struct SignalAction {
    int number;
    void (*handler)(int);
    int flags;                ///< for sigaction
    const char* name;         ///< "SIGSEGV"
    const char* action_name;  ///< "segv_action", the name that a failure's text gives
};

/// In the order in which they are installed.
extern const std::array<SignalAction, 5> kSignalActions;

}  // namespace gtwhandlernamespace
