/// One accepted connection of the house, as the thread that serves it sees it.
///
/// No operation waits without an end: each ends at its limit, when the peer has gone, and at once
/// when the server is told to stop. Belongs to one thread.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "libcbase/Cstylecode.h"

namespace simulator {

class Connection final {
  public:
    /// `stop_fd` stays the server's; it becomes readable when everything is to end.
    Connection(FileDescriptor fd, int stop_fd) : fd_(std::move(fd)), stop_fd_(stop_fd) {}

    int fd() const { return fd_.get(); }
    /// For a second connection that serves the same request.
    int stop_fd() const { return stop_fd_; }

    /// Reads until `is_complete` says so of the text so far. Returns what came: less than that at
    /// the limit, at the peer's end, at a stop, or beyond kMessageBytes.
    std::string read_until(const std::function<bool(const std::string&)>& is_complete,
                           std::chrono::milliseconds limit);
    /// Sends everything; false when the peer is gone, does not read, or at a stop.
    bool write(std::string_view text);
    /// The same byte by byte with a pause behind each.
    bool write_slowly(std::string_view text, std::chrono::milliseconds pause);
    /// Keeps the connection open and says nothing until the peer closes it, `is_released` is true,
    /// or a stop.
    void hold(const std::function<bool()>& is_released);
    /// Closes so that the peer is told of a reset.
    void reset();
    /// Closes in order: what was written arrives, although bytes of the peer are still unread.
    void finish();

    static constexpr std::size_t kMessageBytes = 1048576;

  private:
    bool wait_ready(short events, std::chrono::steady_clock::time_point deadline) const;
    /// False at a stop.
    bool pause(std::chrono::milliseconds length) const;

    FileDescriptor fd_;
    int stop_fd_;
};

}  // namespace simulator
