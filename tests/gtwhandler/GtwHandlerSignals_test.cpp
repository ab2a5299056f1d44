#include "gtwhandler/GtwHandlerSignals.h"

#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gtwhandler/GtwHandler.h"
#include "simulator/journal/SystemLog.h"

namespace {

using gtwhandlernamespace::GtwHandler;

constexpr int kSurvived = 42;
constexpr int kNotInitialized = 99;

// A process in which the loop's handlers are installed, and which receives a signal. It is created
// while this process has a single thread, as the thread sanitizer requires, and waits until it is
// released.
class Child final {
  public:
    explicit Child(int number) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        gate_.reset(ends[1]);
        const FileDescriptor reader(ends[0]);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);  // an aborted test leaves no process behind
            GtwHandler loop(0, nullptr);
            char byte = 0;
            if (loop.initialize() != 0 || read(reader.get(), &byte, 1) != 1) {
                _exit(kNotInitialized);
            }
            alarm(10);
            raise(number);
            poll(nullptr, 0, 1);  // where the thread sanitizer delivers a signal
            _exit(kSurvived);
        }
    }
    // Releases it. The exit code, or 1000 plus the signal that killed it, SIGALRM if it hung.
    int release_and_wait() const {
        EXPECT_EQ(write(gate_.get(), "x", 1), 1);
        int status = 0;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

  private:
    FileDescriptor gate_;
    pid_t pid_;
};

const struct Case {
    int number, code;
    std::string line;  // after "gtwhandler->gtwHandler"; empty for none
} kCases[] = {
    {SIGSEGV, 1,
     "SigsegvHandler called, the instance receive a 'Segmentation Fault' signal, check code"},
    {SIGABRT, 1, "SigabrtHandler called, the instance receive a 'Abort' signal, memory problem"},
    {SIGPIPE, kSurvived,
     "SigpipeHandler called, the instance receive a 'Pipe' signal, some handlers went down"},
    {SIGCHLD, kSurvived,
     "SigchldHandler called, the instance receive a 'Child' signal, some handlers went down"},
    {SIGTERM, 0, ""},
};

TEST(GtwSignals, EndWithTheirCodeAndTheirLine) {
    signal(SIGCHLD, SIG_DFL);  // an earlier test's loop in this process would log it too
    std::vector<Child> children;
    for (const Case& each : kCases) {
        children.emplace_back(each.number);
    }
    simulator::SystemLog log;
    std::size_t lines = 0;
    for (std::size_t i = 0; i < children.size(); ++i) {
        EXPECT_EQ(children[i].release_and_wait(), kCases[i].code) << kCases[i].line;
        if (!kCases[i].line.empty()) {
            ASSERT_TRUE(log.wait_for(kCases[i].line));
            ASSERT_EQ(log.lines().size(), ++lines);
            EXPECT_EQ(log.lines().back().text, "gtwhandler->gtwHandler" + kCases[i].line);
            EXPECT_EQ(log.lines().back().priority, 3);
        }
    }
    EXPECT_EQ(log.lines().size(), lines);
}

}  // namespace
