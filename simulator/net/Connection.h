/// One accepted connection of a simulated service.
///
/// Every operation ends at its limit, when the peer closes, and at once when the server stops.
/// Belongs to the thread that serves it.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "libcbase/Cstylecode.h"

namespace simulator {

class Connection final {
  public:
    /// `stop_fd` becomes readable when the server stops; the server changes `recoveries` to release
    /// held connections. Both belong to the server; a connection of a client has neither.
    explicit Connection(FileDescriptor fd, int stop_fd = -1,
                        const std::atomic<int>& recoveries = kNoRecoveries)
        : fd_(std::move(fd)),
          stop_fd_(stop_fd),
          recoveries_(recoveries),
          recoveries_before_(recoveries) {}

    int fd() const { return fd_.get(); }

    /// Reads until `is_complete` returns true for the text so far. Returns the text, incomplete at
    /// the limit, when the peer closes, at a stop, or beyond kMessageBytes.
    std::string read_until(const std::function<bool(const std::string&)>& is_complete,
                           std::chrono::milliseconds limit);
    /// Reads until the peer closes.
    std::string read_all(std::chrono::milliseconds limit);
    /// Sends everything; false if the peer closes or does not read, or at a stop.
    bool write(std::string_view text);
    /// Sends byte by byte with a pause after each.
    bool write_slowly(std::string_view text, std::chrono::milliseconds pause);
    /// Waits; ends early at a stop or when the connection ends.
    void pause(std::chrono::milliseconds length) const;
    /// Keeps the connection open without sending until the peer closes it, or the server recovers
    /// or stops.
    void hold() const;
    /// Resets the connection.
    void reset();
    /// Closes in order: written bytes arrive even if bytes of the peer are unread.
    void finish();

    static constexpr std::size_t kMessageBytes = 1048576;

  private:
    inline static const std::atomic<int> kNoRecoveries{0};

    /// Waits for one of `events` or the end of the connection; false at the deadline or a stop.
    bool wait_for(short events, std::chrono::steady_clock::time_point deadline) const;

    FileDescriptor fd_;
    int stop_fd_;
    const std::atomic<int>& recoveries_;
    int recoveries_before_;
};

/// Sends a request to a port of 127.0.0.1. Returns what arrives until the peer closes, or until the
/// limit; empty if the connection is refused.
std::string exchange(int port, const std::string& request, std::chrono::milliseconds limit);

}  // namespace simulator
