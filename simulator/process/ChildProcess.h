/// Runs a program, the daemon or a tool, as a child process and reads its output meanwhile.
///
/// The child is killed when the thread that started it ends. One controlling thread.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "libcbase/Cstylecode.h"

namespace simulator {

class ChildProcess final {
  public:
    using Words = std::vector<std::string>;

    struct Setup {
        std::string path;  ///< of the program, or its name in PATH
        Words arguments = {};
        Words environment = {};     ///< "NAME=value", added to or replacing this process's own
        bool reads_errors = false;  ///< otherwise standard error is this process's own
        /// Called for each whole line, without the newline, by the thread that reads.
        std::function<void(const std::string&)> listener = {};
    };
    struct Ending {
        bool was_signalled = false;
        int code = 0;             ///< exit code, or the number of the signal that ended it
        bool was_killed = false;  ///< SIGTERM did not end it

        bool is_success() const { return !was_signalled && !was_killed && code == 0; }
        std::string text() const;
    };
    struct Result {
        Ending ending;
        std::string output;  ///< standard output, up to kKeptBytes
        std::string errors;

        /// -1 when a signal ended it.
        int exit_code() const { return ending.was_signalled ? -1 : ending.code; }
    };
    /// The line "%d,%d\n" that the daemon prints at start-up.
    struct StartStatus {
        int status;  ///< 0, or -1 for a failure
        int port;    ///< of its commands endpoint, or -1
    };

    /// Throws std::system_error if the program cannot be started; one that is not in PATH ends with
    /// exit code 127. Its standard input is empty, it inherits no descriptor, and it has its own
    /// process group, so that Ctrl-C does not reach it.
    explicit ChildProcess(const Setup& setup);
    /// Stops.
    ~ChildProcess() { stop(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Runs a program to its end, or stops it at `limit`.
    static Result run(const std::string& path, const Words& arguments, const Words& environment,
                      std::chrono::milliseconds limit);

    pid_t pid() const { return pid_; }
    /// The next line of standard output, without the newline; nothing at its end or at the limit.
    std::optional<std::string> read_line(std::chrono::milliseconds limit);
    /// The next line of output as a start status; nothing for a missing or other line.
    std::optional<StartStatus> start_status(std::chrono::milliseconds limit);
    /// Waits for output and stores it; false at its end or at the limit.
    bool read_output(std::chrono::milliseconds limit);
    /// Reads until the program ends, or stops it at the limit.
    Result finish(std::chrono::milliseconds limit);

    bool is_running() { return !wait(std::chrono::milliseconds(0)); }
    void send_signal(int number) const;
    /// How it ended; nothing if it still runs at the limit.
    std::optional<Ending> wait(std::chrono::milliseconds limit);
    /// Sends SIGTERM, and SIGKILL after kStopLimit.
    Ending stop();

    static constexpr std::chrono::seconds kStopLimit{20};  // a request to the bridge may take 15 s
    static constexpr std::size_t kKeptBytes = 1048576;

  private:
    struct Channel {
        FileDescriptor reader;
        std::string text;
        std::size_t reported = 0;  // start of the first line that the listener has not seen
    };

    void take(Channel& channel);

    std::function<void(const std::string&)> listener_;
    pid_t pid_ = -1;
    Channel output_;
    Channel errors_;
    std::size_t next_line_ = 0;  // in the output, for read_line
    std::optional<Ending> ending_;
};

}  // namespace simulator
