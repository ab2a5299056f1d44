/// The transport on POSIX sockets: one socket for each call, closed on every path.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "huelib/BaseHttpHandler.h"

class LinHttpHandler : public BaseHttpHandler {
  public:
    /// What one exchange may take. The defaults are those of send(); a time outside 1 ms..1 h is
    /// taken for the nearer of the two.
    struct Limits {
        std::chrono::milliseconds blocked{15'000};  ///< for each send, receive and connect
        std::chrono::milliseconds answer{30'000};  ///< for the whole answer, however it trickles in
        /// Several times what a full bridge has to say; parsed JSON takes fifty times its text.
        /// With 0 only an empty answer is none too large.
        std::size_t answerBytes = std::size_t{2} << 20;
    };

    /// Throws std::system_error with errno and the step that failed, as "LinHttpHandler: Failed to
    /// connect socket": EINVAL (as if by the lookup of the name) for a port outside 1..65535,
    /// EINPROGRESS for a connection and EAGAIN for a request or an answer that takes too long,
    /// EMSGSIZE for an answer that is too large. An answer of exactly three bytes is taken for a
    /// broken one: std::runtime_error, "LinHttpHandler: Failed to store complete response from
    /// socket".
    std::string send(const std::string& msg, const std::string& adr, int port) const override;

    /// What arrives beyond 4 MiB, or beyond 2048 bytes of one datagram, is dropped. Text behind the
    /// last empty line is not an answer. Throws std::system_error with errno and the step that
    /// failed, as "LinHttpHandler: sendMulticast: Failed to send message"; EINVAL for a port
    /// outside 1..65535.
    std::vector<std::string> sendMulticast(const std::string& msg, const std::string& adr, int port,
                                           int timeout) const override;

    /// send() within limits of the caller's choice.
    static std::string exchange(const std::string& msg, const std::string& adr, int port,
                                const Limits& limits);
};
