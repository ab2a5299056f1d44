#include "simulator/DaemonProcess.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace simulator {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kWaitSlice{5};
constexpr std::size_t kLineBytes = 4096;

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

// In the child: only async-signal-safe calls, since the parent has threads. Sends errno to `report`
// when the program cannot be run.
[[noreturn]] void become(const char* path, char* const* arguments, pid_t parent, int output,
                         int report) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent && setpgid(0, 0) == 0 &&
        dup2(null, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0) {
        execv(path, arguments);
    }
    const int problem = errno;
    [[maybe_unused]] const ssize_t written = write(report, &problem, sizeof(problem));
    _exit(127);
}

}  // namespace

std::string DaemonProcess::Ending::text() const {
    return (was_signalled ? "signal " : "exit code ") + std::to_string(code) +
           (was_killed ? ", killed since it did not follow SIGTERM" : "");
}

DaemonProcess::DaemonProcess(const std::string& path, const std::vector<std::string>& arguments) {
    Pipe output = make_pipe();
    Pipe report = make_pipe();
    std::vector<std::string> texts = arguments;
    texts.insert(texts.begin(), path);
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        become(path.c_str(), pointers.data(), parent, output.writer.get(), report.writer.get());
    }
    report.writer.reset();
    int problem = errno;
    if (pid_ < 0 || read(report.reader.get(), &problem, sizeof(problem)) != 0) {
        if (pid_ > 0) {
            waitpid(pid_, nullptr, 0);
        }
        throw std::system_error(problem, std::generic_category(), path);
    }
    output_ = std::move(output.reader);
}

DaemonProcess::~DaemonProcess() {
    stop();
}

std::optional<std::string> DaemonProcess::reads_line(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (unread_.find('\n') == std::string::npos && unread_.size() < kLineBytes) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd ready{output_.get(), POLLIN, 0};
        const int count = poll(&ready, 1, static_cast<int>(std::max<long long>(0, left.count())));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        char chunk[512];
        const ssize_t length = count > 0 ? read(output_.get(), chunk, sizeof(chunk)) : 0;
        if (length <= 0) {
            return std::nullopt;
        }
        unread_.append(chunk, static_cast<std::size_t>(length));
    }
    const std::size_t end = std::min(unread_.find('\n'), unread_.size());
    std::string line = unread_.substr(0, end);
    unread_.erase(0, end + 1);
    return line;
}

std::optional<DaemonProcess::StartStatus> DaemonProcess::start_status(
    std::chrono::milliseconds limit) {
    const auto line = reads_line(limit);
    StartStatus status{};
    char behind = 0;
    if (!line ||
        std::sscanf(line->c_str(), "%d,%d%c", &status.status, &status.port, &behind) != 2) {
        return std::nullopt;
    }
    return status;
}

void DaemonProcess::signals(int number) const {
    if (!ending_) {
        kill(pid_, number);
    }
}

std::optional<DaemonProcess::Ending> DaemonProcess::wait(std::chrono::milliseconds limit) {
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

DaemonProcess::Ending DaemonProcess::stop() {
    signals(SIGTERM);
    if (!wait(kStopLimit)) {
        signals(SIGKILL);
        wait(kStopLimit);
        ending_->was_killed = true;
    }
    return *ending_;
}

}  // namespace simulator
