/// A connection to the commands endpoint whose request is still arriving.
///
/// Owns the connection, which is non-blocking. The request is in the length-managed form of
/// docs/formats/fsmcore.md; the network may split it anywhere. Used by the event loop's thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "libcbase/Cstylecode.h"

namespace gtwhandlernamespace {

class PendingRequest final {
  public:
    /// Measures the deadlines; the wall clock may jump.
    using Clock = std::chrono::steady_clock;

    /// The longest body that may be announced; six values of 511 bytes and their labels fit.
    static constexpr std::size_t kMaxRequestBytes = 4096;

    /// The state of the request after advance().
    enum class Progress {
        arriving,
        complete,        ///< the announced bytes are there; body() is still to be checked
        receive_failed,  ///< problem() is the reason
        bad_length,      ///< problem() is the length as it came, or a line without its tag
    };

    /// `deadline` is kept for the caller; nothing here looks at it.
    PendingRequest(FileDescriptor connection, Clock::time_point deadline)
        : connection_(std::move(connection)), deadline_(deadline) {}

    /// For select; stays owned here.
    int fd() const { return connection_.get(); }
    /// When the request times out.
    Clock::time_point deadline() const { return deadline_; }
    /// Whether any byte has arrived.
    bool has_received() const { return !received_.empty(); }
    /// Explains a failed Progress; empty without one.
    const std::string& problem() const { return problem_; }

    /// Receives what has arrived, without waiting.
    Progress advance();
    /// The announced bytes of a complete request, from "Request: " on. If that tag is not among the
    /// announced bytes after the length line, those bytes: parsing them fails at their first line.
    std::string_view body() const;

    /// Moves the connection to the lowest free descriptor if that is below its own.
    void lower_descriptor();
    /// Gives the open connection to the caller.
    FileDescriptor release_connection() { return std::move(connection_); }
    /// Closes the connection without an answer.
    void abandon();

  private:
    Progress check();
    Progress read_length_line();
    Progress without_tag(std::string_view announced);
    Progress fail(Progress kind, std::string problem);

    FileDescriptor connection_;
    Clock::time_point deadline_;
    std::string received_;
    std::size_t line_end_ = 0;  // of the length line; 0 until it is there
    std::size_t announced_ = 0;
    std::size_t body_start_ = 0;
    std::string problem_;
};

}  // namespace gtwhandlernamespace
