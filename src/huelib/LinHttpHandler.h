/// The transport on POSIX sockets: one socket for each call, always closed at its end.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "huelib/BaseHttpHandler.h"

class LinHttpHandler : public BaseHttpHandler {
  public:
    /// Limits of one exchange. The defaults are those of send(); times are clamped to 1 ms..1 h.
    struct Limits {
        std::chrono::milliseconds blocked{15'000};  ///< for each send, receive and connect
        std::chrono::milliseconds answer{30'000};   ///< for the whole answer, however slow
        /// Several times the largest answer of a full bridge; parsed JSON takes fifty times its
        /// text. With 0 only an empty answer is accepted.
        std::size_t answerBytes = std::size_t{2} << 20;
    };

    /// Throws std::system_error with errno and the step that failed, such as "LinHttpHandler:
    /// Failed to connect socket": EINVAL (from the step of the name lookup) for a port
    /// outside 1..65535, EINPROGRESS for a connection and EAGAIN for a request or an answer that
    /// takes too long, EMSGSIZE for an answer that is too large. An answer of exactly three bytes
    /// counts as incomplete: std::runtime_error, "LinHttpHandler: Failed to store complete response
    /// from socket".
    std::string send(const std::string& msg, const std::string& adr, int port) const override;

    /// Drops what arrives beyond 4 MiB, or beyond 2048 bytes of one datagram. Text after the last
    /// empty line is not an answer. Throws std::system_error with errno and the step that failed,
    /// such as "LinHttpHandler: sendMulticast: Failed to send message"; EINVAL for a port outside
    /// 1..65535.
    std::vector<std::string> sendMulticast(const std::string& msg, const std::string& adr, int port,
                                           int timeout) const override;

    /// send() with other limits.
    static std::string exchange(const std::string& msg, const std::string& adr, int port,
                                const Limits& limits);
};
