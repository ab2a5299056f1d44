#include "simulator/process/ChildProcess.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace simulator {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kWaitSlice{2};
// An emulator's child hangs if another thread held a lock of the emulator when it was forked, since
// the lock stays locked in the child. Starting it again nearly always succeeds.
constexpr milliseconds kStartLimit{5000};
constexpr int kStarts = 3;

[[noreturn]] void fail(int problem, const std::string& what) {
    throw std::system_error(problem, std::generic_category(), what);
}

struct Pipe {
    FileDescriptor reader;
    FileDescriptor writer;
};

Pipe make_pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail(errno, "pipe");
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

bool is_ready(int descriptor, milliseconds limit) {
    pollfd ready{descriptor, POLLIN, 0};
    return TEMP_FAILURE_RETRY(poll(&ready, 1, static_cast<int>(limit.count()))) > 0;
}

// In the child, where only async-signal-safe functions may be called.
[[noreturn]] void become(char* const words[], int output, int errors) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);
    signal(SIGPIPE, SIG_DFL);  // the HTTP server ignores it, and the child would inherit that
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    // A connection that the HTTP server accepts would be inherited.
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    execvp(words[0], words);
    _exit(127);
}

pid_t start(ChildProcess::Words words, int output, int errors) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    for (int i = 0; i < kStarts; ++i) {
        Pipe running = make_pipe();  // closed in the child when it executes the program
        const pid_t child = fork();
        if (child == 0) {
            become(pointers.data(), output, errors);
        }
        if (child < 0) {
            fail(errno, "fork");
        }
        running.writer.reset();
        if (is_ready(running.reader.get(), kStartLimit)) {
            return child;
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        std::fprintf(stderr, "a child did not start within 5 s; starting it again\n");
    }
    fail(ETIMEDOUT, words.back());
}

std::string content_of(const FileDescriptor& file) {
    std::string text(static_cast<std::size_t>(lseek(file.get(), 0, SEEK_END)), '\0');
    const ssize_t length = pread(file.get(), text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return text;
}

}  // namespace

std::string ending_text(int code) {
    return code < 0 ? "signal " + std::to_string(-code) : "exit code " + std::to_string(code);
}

ChildProcess::ChildProcess(const Setup& setup) {
    if (setup.path.find('/') != std::string::npos && access(setup.path.c_str(), X_OK) != 0) {
        fail(errno, setup.path);
    }
    Words words = setup.environment;
    words.insert(words.begin(), "env");
    words.push_back(setup.path);
    words.insert(words.end(), setup.arguments.begin(), setup.arguments.end());
    Pipe output = make_pipe();
    const int writer = output.writer.get();
    pid_ = start(words, writer, setup.errors == kWithOutput ? writer : setup.errors);
    reader_ = std::move(output.reader);
}

ChildProcess::Result ChildProcess::run(const std::string& path, const Words& arguments,
                                       const Words& environment, milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    const FileDescriptor errors(memfd_create("errors", MFD_CLOEXEC));
    ChildProcess child({path, arguments, environment, errors.get()});
    while (child.read_output(deadline)) {
    }
    child.wait_until(deadline);
    const int code = child.stop();
    while (child.read_output(deadline)) {  // the rest, if it was stopped
    }
    return {code, child.output_, content_of(errors)};
}

// Waits for output; false at its end or at the deadline.
bool ChildProcess::read_output(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    char chunk[4096];
    ssize_t length = 0;
    if (is_ready(reader_.get(), std::max(left, milliseconds(0)))) {
        length = read(reader_.get(), chunk, sizeof(chunk));
    }
    output_.append(chunk, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return length > 0;
}

std::optional<std::string> ChildProcess::read_line(milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    std::size_t end;
    while ((end = output_.find('\n')) == std::string::npos) {
        if (!read_output(deadline)) {
            return std::nullopt;
        }
    }
    std::string line = output_.substr(0, end);
    output_.erase(0, end + 1);
    return line;
}

std::optional<int> ChildProcess::start_port(milliseconds limit) {
    const std::string line = read_line(limit).value_or("");
    int port = -1;
    char extra = 0;
    const bool is_running = std::sscanf(line.c_str(), "0,%d%c", &port, &extra) == 1 && port > 0;
    return is_running || line == "-1,-1" ? std::optional<int>(port) : std::nullopt;
}

void ChildProcess::send_signal(int number) const {
    if (!code_) {
        kill(pid_, number);
    }
}

std::optional<int> ChildProcess::wait_until(Clock::time_point deadline) {
    int status = 0;
    while (!code_ && waitpid(pid_, &status, WNOHANG) != pid_) {
        if (Clock::now() >= deadline) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(kWaitSlice);
    }
    if (!code_) {
        code_ = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    return code_;
}

int ChildProcess::stop() {
    send_signal(SIGTERM);
    if (!wait(kStopLimit)) {
        send_signal(SIGKILL);
        wait(kStopLimit);
    }
    return *code_;
}

}  // namespace simulator
