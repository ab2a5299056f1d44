/// A connection to the commands endpoint whose request is still arriving.
///
/// Owns the connection, which is non-blocking. The request is in the length-managed form of
/// docs/formats/fsmcore.md, and valid however the network cuts it. Used by the event loop's thread.
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
    using Clock = std::chrono::steady_clock;

    /// The longest body that may be announced: six values of 511 bytes and their labels fit.
    static constexpr std::size_t kMaxRequestBytes = 4096;

    enum class Progress {
        arriving,
        complete,
        receive_failed,  ///< problem() tells why
        bad_length,      ///< problem() is what stands for the announced length
    };

    PendingRequest(FileDescriptor connection, Clock::time_point deadline)
        : connection_(std::move(connection)), deadline_(deadline) {}

    int fd() const { return connection_.get(); }
    /// When the request is given up.
    Clock::time_point deadline() const { return deadline_; }
    bool has_received() const { return !received_.empty(); }
    const std::string& problem() const { return problem_; }

    /// Takes what has arrived, without waiting.
    Progress advance();
    /// A complete request from "Request: " on, of the announced length.
    std::string_view body() const;

    /// Moves the connection to the lowest descriptor that is free, if that is below its own.
    void lower_descriptor();
    FileDescriptor release_connection() { return std::move(connection_); }
    /// Closes the connection without an answer.
    void abandon();

  private:
    Progress check();
    Progress read_length_line();
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
