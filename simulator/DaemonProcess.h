/// The real daemon, started as the core starts it: one child process whose standard output is read.
///
/// It dies with the thread that started it, so start it on one that stays. One controlling thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "libcbase/Cstylecode.h"

namespace simulator {

class DaemonProcess final {
  public:
    /// The line "%d,%d\n" of the daemon's start.
    struct StartStatus {
        int status;  ///< 0, or -1 for a failure
        int port;    ///< of its commands endpoint, or -1
    };
    struct Ending {
        bool was_signalled = false;
        int code = 0;             ///< exit code, or the number of the signal that ended it
        bool was_killed = false;  ///< it did not follow SIGTERM and had to be killed

        bool is_success() const { return !was_signalled && !was_killed && code == 0; }
        std::string text() const;
    };

    /// Starts the program at `path`; throws std::system_error when that is not possible. It
    /// inherits standard error and nothing else, and is in a process group of its own: Ctrl-C is
    /// not for it.
    DaemonProcess(const std::string& path, const std::vector<std::string>& arguments);
    /// Stops.
    ~DaemonProcess();

    pid_t pid() const { return pid_; }
    /// The next line of its standard output, without the newline; nothing at its end or the limit.
    std::optional<std::string> reads_line(std::chrono::milliseconds limit);
    /// The next line as a start status; nothing when there is none, or another text.
    std::optional<StartStatus> start_status(std::chrono::milliseconds limit);

    bool is_running() { return !ending_ && !wait(std::chrono::milliseconds(0)); }
    void signals(int number) const;
    /// How it ended; nothing while it runs on at the limit.
    std::optional<Ending> wait(std::chrono::milliseconds limit);
    /// Sends SIGTERM; after kStopLimit, as the last resort, SIGKILL.
    Ending stop();

    static constexpr std::chrono::seconds kStopLimit{20};  // it may be waiting 15 s for the bridge

  private:
    pid_t pid_ = -1;
    FileDescriptor output_;
    std::string unread_;
    std::optional<Ending> ending_;
};

}  // namespace simulator
