/// Logging to the system log.
///
/// One call writes one line of at most 1023 characters; any thread may call. When the system log
/// does not read, lines are lost and counted; the caller is never blocked for long.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// A namespace that callers do not see, for the linker only: these also go into the installed
// huelib, and programs that use it have an error() or info() of their own.
inline namespace cbase_log {

/// The syslog facility of every line, LOG_LOCAL0 at first; may be changed before openlogfile.
extern std::int32_t zel_log_facility;

/// Opens and closes the system log. Lines carry the program's name and the process ID; they go to
/// the console if the system log cannot be reached.
void openlogfile();
void closelogfile();

/// Each logs at the syslog level of its name. info, verbose_info and logged_info do the same, and
/// so do debug and verbose_debug: every line is sent, and the system logger filters by level.
/// They have C++ linkage: with C linkage `error` would replace the C library's own function.
[[gnu::format(printf, 1, 2)]] void error(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void warning(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void info(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void verbose_info(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void logged_info(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void debug(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void verbose_debug(const char* format, ...);
/// Logs nothing: for traces that are compiled but not written.
[[gnu::format(printf, 1, 2)]] void byteinfo(const char* format, ...);

/// `text` with each byte of a control character (C0, DEL, and C1 in UTF-8) as \xNN. For every text
/// from outside that goes into a line: a line feed in it could otherwise forge a second line.
std::string escape_control_characters(std::string_view text);

}  // namespace cbase_log

/// Prepares error_from_signal_handler: opens its datagram socket and composes the line's header
/// (program name and process ID). Call once, before the handlers are installed; a second call
/// changes nothing. Without it, or while no system log listens on /dev/log as a datagram socket,
/// the handler's line is lost.
void prepare_signal_log();
/// Sends one line at error level to the system log. Async-signal-safe: it may interrupt malloc or
/// syslog itself. Each call looks up the log's socket again, so a restarted logger is found. While
/// the logger's queue is full it tries again for `timeout_ms`; then the line is lost.
void error_from_signal_handler(const char* text, std::size_t length, int timeout_ms = 0) noexcept;
