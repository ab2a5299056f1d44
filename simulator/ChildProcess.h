/// A program run as a child process, with its output read while it runs: the daemon, or a tool.
///
/// It dies with the thread that started it, so start it on one that stays. One controlling thread.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "libcbase/Cstylecode.h"

namespace simulator {

class ChildProcess {
  public:
    enum class Stream { output, errors };
    using Words = std::vector<std::string>;

    struct Setup {
        std::string path;
        Words arguments;
        Words environment;         ///< "NAME=value", beside or instead of this process's own
        bool reads_errors = true;  ///< standard error too; otherwise it is this process's own
        /// Called for each whole line, without the newline, by the thread that reads.
        std::function<void(Stream, const std::string&)> listener;
    };
    struct Ending {
        bool was_signalled = false;
        int code = 0;             ///< exit code, or the number of the signal that ended it
        bool was_killed = false;  ///< it did not follow SIGTERM and had to be killed

        bool is_success() const { return !was_signalled && !was_killed && code == 0; }
        std::string text() const;
    };
    struct Result {
        Ending ending;
        std::string output;  ///< all that it printed, up to kKeptBytes
        std::string errors;

        /// -1 when a signal ended it.
        int exit_code() const { return ending.was_signalled ? -1 : ending.code; }
    };

    /// Throws std::system_error when the program cannot be started. Its standard input is empty, it
    /// inherits no descriptor, and it is in a process group of its own: Ctrl-C is not for it.
    explicit ChildProcess(Setup setup);
    /// Stops.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Runs a program to its end; one that is not done within `limit` is stopped.
    static Result run(const std::string& path, const Words& arguments, const Words& environment,
                      std::chrono::milliseconds limit);

    pid_t pid() const { return pid_; }
    /// The next line of its standard output, without the newline; nothing at its end or the limit.
    std::optional<std::string> reads_line(std::chrono::milliseconds limit);
    /// Waits for output and takes it in; false at its end or the limit.
    bool reads(std::chrono::milliseconds limit);
    /// Reads on until it ends by itself, or stops it at the limit.
    Result finish(std::chrono::milliseconds limit);

    bool is_running() { return !ending_ && !wait(std::chrono::milliseconds(0)); }
    void signals(int number) const;
    /// How it ended; nothing while it runs on at the limit.
    std::optional<Ending> wait(std::chrono::milliseconds limit);
    /// Sends SIGTERM; after kStopLimit, as the last resort, SIGKILL.
    Ending stop();

    static constexpr std::chrono::seconds kStopLimit{20};  // it may be waiting 15 s for the bridge
    static constexpr std::size_t kKeptBytes = 1048576;

  private:
    struct Channel {
        FileDescriptor reader;
        std::string text;
        std::size_t told = 0;  // where the first line begins that the listener has not seen
    };

    void start(Setup& setup);
    bool is_at_end() const { return !channels_[0].reader && !channels_[1].reader; }
    void take(Stream stream);

    std::function<void(Stream, const std::string&)> listener_;
    pid_t pid_ = -1;
    Channel channels_[2];        // by Stream
    std::size_t next_line_ = 0;  // in the output, for reads_line
    std::optional<Ending> ending_;
};

}  // namespace simulator
