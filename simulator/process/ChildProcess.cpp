#include "simulator/process/ChildProcess.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace simulator {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using Words = ChildProcess::Words;

constexpr milliseconds kWaitSlice{2};
// Under emulation a child is forked. It hangs if another thread held a lock of the emulator at that
// moment, which stays locked in the child. Starting it again nearly always succeeds.
constexpr milliseconds kStartLimit{5000};
constexpr int kStarts = 3;

struct Pipe {
    FileDescriptor reader;
    FileDescriptor writer;
};

Pipe make_pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

milliseconds left_until(Clock::time_point deadline) {
    return std::max(milliseconds(0),
                    std::chrono::duration_cast<milliseconds>(deadline - Clock::now()));
}

// The command that runs the program. Each of its programs replaces itself by the next one.
Words command_of(const ChildProcess::Setup& setup) {
    Words words{"setpriv", "--pdeathsig", "KILL", "--"};
    if (!setup.environment.empty()) {
        words.emplace_back("env");
        words.insert(words.end(), setup.environment.begin(), setup.environment.end());
    }
    words.push_back(setup.path);
    words.insert(words.end(), setup.arguments.begin(), setup.arguments.end());
    return words;
}

pid_t spawn_once(Words words, int output, int errors) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);

    sigset_t signals;
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGPIPE);  // the HTTP server ignores it, and the child would inherit that
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setpgroup(&attributes, 0);

    pid_t child = -1;
    const int problem =
        posix_spawnp(&child, pointers[0], &actions, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (problem != 0) {
        throw std::system_error(problem, std::generic_category(), words[0]);
    }
    return child;
}

pid_t spawn(const Words& words, int output, int errors) {
    for (int i = 0; i < kStarts; ++i) {
        Pipe start = make_pipe();  // the program does not inherit it
        const pid_t child = spawn_once(words, output, errors);
        start.writer.reset();
        pollfd closed{start.reader.get(), POLLIN, 0};
        if (poll(&closed, 1, static_cast<int>(kStartLimit.count())) != 0) {
            return child;
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        std::fprintf(stderr, "a child did not start within 5 s; starting it again\n");
    }
    throw std::system_error(ETIMEDOUT, std::generic_category(), words[0]);
}

}  // namespace

std::string ChildProcess::Ending::text() const {
    return (was_signalled ? "signal " : "exit code ") + std::to_string(code) +
           (was_killed ? ", killed because SIGTERM did not end it" : "");
}

ChildProcess::ChildProcess(const Setup& setup) : listener_(setup.listener) {
    if (setup.path.find('/') != std::string::npos && access(setup.path.c_str(), X_OK) != 0) {
        throw std::system_error(errno, std::generic_category(), setup.path);
    }
    Pipe output = make_pipe();
    Pipe errors = make_pipe();
    pid_ = spawn(command_of(setup), output.writer.get(),
                 setup.reads_errors ? errors.writer.get() : STDERR_FILENO);
    output_.reader = std::move(output.reader);
    if (setup.reads_errors) {
        errors_.reader = std::move(errors.reader);
    }
}

ChildProcess::Result ChildProcess::run(const std::string& path, const Words& arguments,
                                       const Words& environment, milliseconds limit) {
    return ChildProcess({path, arguments, environment, true}).finish(limit);
}

void ChildProcess::take(Channel& channel) {
    char chunk[4096];
    const ssize_t length = read(channel.reader.get(), chunk, sizeof(chunk));
    if (length <= 0) {
        channel.reader.reset();
        return;
    }
    const std::size_t room = kKeptBytes - channel.text.size();
    channel.text.append(chunk, std::min(room, static_cast<std::size_t>(length)));
    for (std::size_t end; (end = channel.text.find('\n', channel.reported)) != std::string::npos;) {
        if (listener_) {
            listener_(channel.text.substr(channel.reported, end - channel.reported));
        }
        channel.reported = end + 1;
    }
}

bool ChildProcess::read_output(milliseconds limit) {
    if (!output_.reader && !errors_.reader) {
        return false;
    }
    // poll skips the -1 of a channel that is at its end.
    pollfd ready[2] = {{output_.reader.get(), POLLIN, 0}, {errors_.reader.get(), POLLIN, 0}};
    const int count = poll(ready, 2, static_cast<int>(limit.count()));
    for (std::size_t i = 0; count > 0 && i < 2; ++i) {
        if (ready[i].revents != 0) {
            take(i == 0 ? output_ : errors_);
        }
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

std::optional<std::string> ChildProcess::read_line(milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    std::size_t end;
    while ((end = output_.text.find('\n', next_line_)) == std::string::npos) {
        if (!output_.reader || !read_output(left_until(deadline))) {
            return std::nullopt;
        }
    }
    std::string line = output_.text.substr(next_line_, end - next_line_);
    next_line_ = end + 1;
    return line;
}

std::optional<ChildProcess::StartStatus> ChildProcess::start_status(milliseconds limit) {
    const auto line = read_line(limit);
    StartStatus status{};
    char extra = 0;
    if (!line || std::sscanf(line->c_str(), "%d,%d%c", &status.status, &status.port, &extra) != 2) {
        return std::nullopt;
    }
    return status;
}

ChildProcess::Result ChildProcess::finish(milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (read_output(left_until(deadline))) {
    }
    const auto by_itself = wait(left_until(deadline));
    const Ending ending = by_itself ? *by_itself : stop();
    while (read_output(milliseconds(0))) {  // the rest of its output
    }
    return {ending, output_.text, errors_.text};
}

void ChildProcess::send_signal(int number) const {
    if (!ending_) {
        kill(pid_, number);
    }
}

std::optional<ChildProcess::Ending> ChildProcess::wait(milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (!ending_) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            const bool was_signalled = WIFSIGNALED(status);
            ending_ = Ending{was_signalled, was_signalled ? WTERMSIG(status) : WEXITSTATUS(status),
                             false};
        } else if (Clock::now() >= deadline) {
            return std::nullopt;
        } else {
            std::this_thread::sleep_for(kWaitSlice);
        }
    }
    return ending_;
}

ChildProcess::Ending ChildProcess::stop() {
    send_signal(SIGTERM);
    if (!wait(kStopLimit)) {
        send_signal(SIGKILL);
        wait(kStopLimit);
        ending_->was_killed = true;
    }
    return *ending_;
}

}  // namespace simulator
