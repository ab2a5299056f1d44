/// Runs a program, the daemon or a tool, as a child process and reads its output meanwhile.
///
/// The child is killed when the thread that started it ends. One controlling thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>
#include <unistd.h>

#include "libcbase/Cstylecode.h"

namespace simulator {

class ChildProcess final {
  public:
    using Words = std::vector<std::string>;

    struct Setup {
        std::string path;  ///< of the program, or its name in PATH
        Words arguments = {};
        Words environment = {};      ///< "NAME=value", added to or replacing this process's own
        int errors = STDERR_FILENO;  ///< descriptor for its standard error, or kWithOutput
    };
    struct Result {
        int code;            ///< see wait()
        std::string output;  ///< standard output
        std::string errors;  ///< standard error
    };

    /// Throws std::system_error if the program cannot be started; one that is not in PATH ends with
    /// exit code 127. Its standard input is empty, it inherits no other descriptor, and it has its
    /// own process group, so that Ctrl-C does not reach it.
    explicit ChildProcess(const Setup& setup);
    /// Stops.
    ~ChildProcess() { stop(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Runs a program to its end, or stops it at `limit`.
    static Result run(const std::string& path, const Words& arguments, const Words& environment,
                      std::chrono::milliseconds limit);

    pid_t pid() const { return pid_; }
    /// The next line of output, without the newline; nothing at its end or at the limit.
    std::optional<std::string> read_line(std::chrono::milliseconds limit);
    /// The port in the next line of output if that is the daemon's start status: "0,PORT", or
    /// "-1,-1" for a failure. Nothing for a missing or other line.
    std::optional<int> start_port(std::chrono::milliseconds limit);

    bool is_running() { return !wait(std::chrono::milliseconds(0)); }
    void send_signal(int number) const;
    /// Its exit code, or minus the number of the signal that ended it; nothing if it still runs at
    /// the limit.
    std::optional<int> wait(std::chrono::milliseconds limit) {
        return wait_until(std::chrono::steady_clock::now() + limit);
    }
    /// Sends SIGTERM, and SIGKILL after kStopLimit. Returns as wait().
    int stop();

    static constexpr std::chrono::seconds kStopLimit{20};  // a request to the bridge may take 15 s
    static constexpr int kWithOutput = -1;

  private:
    bool read_output(std::chrono::steady_clock::time_point deadline);
    std::optional<int> wait_until(std::chrono::steady_clock::time_point deadline);

    pid_t pid_ = -1;
    FileDescriptor reader_;
    std::string output_;  // that was not returned yet
    std::optional<int> code_;
};

/// "exit code 1" or "signal 15", from what ChildProcess::wait() returns.
std::string ending_text(int code);

}  // namespace simulator
