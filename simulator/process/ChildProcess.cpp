#include "simulator/process/ChildProcess.h"

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
using std::chrono::milliseconds;
using Words = ChildProcess::Words;

constexpr milliseconds kWaitSlice{5};
// A child that has not executed its program by then hangs: it was forked while another thread held
// a lock of the emulator, which stays locked in the child. Forking again nearly always succeeds.
constexpr std::chrono::seconds kExecLimit{5};
constexpr int kForks = 3;

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

// The list for exec; valid as long as `words`.
std::vector<char*> pointers_to(Words& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// This process's environment with `changes` applied.
Words environment_with(const Words& changes) {
    Words all = changes;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string own = *variable;
        const std::string name = own.substr(0, own.find('=') + 1);
        const bool is_changed =
            std::any_of(changes.begin(), changes.end(),
                        [&](const std::string& change) { return change.rfind(name, 0) == 0; });
        if (!is_changed) {
            all.push_back(own);
        }
    }
    return all;
}

// What the child needs. Built before the fork, since the child must not allocate.
struct Image {
    const char* path;
    char* const* arguments;
    char* const* environment;
    pid_t parent;
    int output;
    int errors;
};

// Runs in the child: only async-signal-safe calls, since the parent has threads. Sends errno to
// `report` if the program cannot be run.
[[noreturn]] void become(const Image& image, int report) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE,
           SIG_DFL);  // the HTTP server ignores it, and the child would inherit that
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == image.parent && setpgid(0, 0) == 0 &&
        dup2(null, STDIN_FILENO) >= 0 && dup2(image.output, STDOUT_FILENO) >= 0 &&
        dup2(image.errors, STDERR_FILENO) >= 0) {
        execve(image.path, image.arguments, image.environment);
    }
    const int problem = errno;
    [[maybe_unused]] const ssize_t written = write(report, &problem, sizeof(problem));
    _exit(127);
}

milliseconds left_until(Clock::time_point deadline) {
    return std::max(milliseconds(0),
                    std::chrono::duration_cast<milliseconds>(deadline - Clock::now()));
}

// Waits until a descriptor is ready; false at the deadline.
template <std::size_t kCount>
bool becomes_ready(pollfd (&descriptors)[kCount], Clock::time_point deadline) {
    int count = 0;
    do {
        count = poll(descriptors, kCount, static_cast<int>(left_until(deadline).count()));
    } while (count < 0 && errno == EINTR);
    return count > 0;
}

// Starts a child with `image`. Returns 0 or an errno.
int fork_into(const Image& image, pid_t& child) {
    Pipe report = make_pipe();
    child = fork();
    if (child == 0) {
        become(image, report.writer.get());
    }
    if (child < 0) {
        return errno;
    }
    report.writer.reset();
    pollfd descriptors[] = {{report.reader.get(), POLLIN, 0}};
    int problem = ETIMEDOUT;
    // The start of the program closes the pipe without a byte.
    if (becomes_ready(descriptors, Clock::now() + kExecLimit) &&
        read(report.reader.get(), &problem, sizeof(problem)) == 0) {
        return 0;
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return problem;
}

}  // namespace

std::string ChildProcess::Ending::text() const {
    return (was_signalled ? "signal " : "exit code ") + std::to_string(code) +
           (was_killed ? ", killed because SIGTERM did not end it" : "");
}

ChildProcess::ChildProcess(Setup setup) : listener_(std::move(setup.listener)) {
    start(setup);
}

ChildProcess::~ChildProcess() {
    stop();
}

void ChildProcess::start(Setup& setup) {
    Pipe output = make_pipe();
    Pipe errors = make_pipe();
    Words words = setup.arguments;
    words.insert(words.begin(), setup.path);
    Words environment = environment_with(setup.environment);
    const std::vector<char*> arguments = pointers_to(words);
    const std::vector<char*> variables = pointers_to(environment);
    const Image image{
        setup.path.c_str(),  arguments.data(),
        variables.data(),    getpid(),
        output.writer.get(), setup.reads_errors ? errors.writer.get() : STDERR_FILENO};
    int problem = fork_into(image, pid_);
    for (int i = 1; i < kForks && problem == ETIMEDOUT; ++i) {
        std::fprintf(stderr, "%s did not start within 5 s; trying again\n", image.path);
        problem = fork_into(image, pid_);
    }
    if (problem != 0) {
        throw std::system_error(problem, std::generic_category(), setup.path);
    }
    channels_[0].reader = std::move(output.reader);
    if (setup.reads_errors) {
        channels_[1].reader = std::move(errors.reader);
    }
}

ChildProcess::Result ChildProcess::run(const std::string& path, const Words& arguments,
                                       const Words& environment, milliseconds limit) {
    return ChildProcess({path, arguments, environment, true, {}}).finish(limit);
}

void ChildProcess::take(Stream stream) {
    Channel& channel = channels_[stream == Stream::output ? 0 : 1];
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
            listener_(stream, channel.text.substr(channel.reported, end - channel.reported));
        }
        channel.reported = end + 1;
    }
}

bool ChildProcess::read_output(milliseconds limit) {
    // poll ignores a descriptor of -1.
    pollfd ready[] = {{channels_[0].reader.get(), POLLIN, 0},
                      {channels_[1].reader.get(), POLLIN, 0}};
    if (is_at_end() || !becomes_ready(ready, Clock::now() + limit)) {
        return false;
    }
    for (const Stream stream : {Stream::output, Stream::errors}) {
        if (ready[stream == Stream::output ? 0 : 1].revents != 0) {
            take(stream);
        }
    }
    return true;
}

std::optional<std::string> ChildProcess::read_line(milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    const std::string& text = channels_[0].text;
    while (text.find('\n', next_line_) == std::string::npos) {
        if (!channels_[0].reader || !read_output(left_until(deadline))) {
            return std::nullopt;
        }
    }
    const std::size_t end = text.find('\n', next_line_);
    std::string line = text.substr(next_line_, end - next_line_);
    next_line_ = end + 1;
    return line;
}

ChildProcess::Result ChildProcess::finish(milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (read_output(left_until(deadline))) {
    }
    const auto by_itself = wait(left_until(deadline));
    const Ending ending = by_itself ? *by_itself : stop();
    while (read_output(milliseconds(0))) {  // the rest of its output
    }
    return {ending, channels_[0].text, channels_[1].text};
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
