#include "gtwhandler/GtwHandlerSignals.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "gtwhandler/GtwHandler.h"
#include "tests/support/SystemLogTest.h"

namespace {

using Clock = std::chrono::steady_clock;
using gtwhandlernamespace::GtwHandler;

constexpr int kStuck = -1;
constexpr int kSurvived = 42;

class GtwSignals : public SystemLogTest {
  protected:
    // A child in which the loop's handlers are installed.
    static pid_t start(const std::function<void()>& body) {
        const pid_t child = fork();
        if (child == 0) {
            GtwHandler loop(0, nullptr);
            if (loop.initialize() == 0) {
                body();
                _exit(kSurvived);
            }
            _exit(99);
        }
        return child;
    }
    // The child's exit code, 1000 and its signal, or kStuck.
    static int ending_of(pid_t child) {
        const Clock::time_point limit = Clock::now() + std::chrono::seconds(10);
        int status = 0;
        while (waitpid(child, &status, WNOHANG) == 0) {
            if (Clock::now() > limit) {
                kill(child, SIGKILL);
                waitpid(child, &status, 0);
                return kStuck;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
};

TEST_F(GtwSignals, EndWithTheirCodeAndTheirLine) {
    const struct {
        int number;
        int code;
        const char* line;
    } cases[] = {
        {SIGSEGV, 1,
         "gtwhandler->gtwHandlerSigsegvHandler called, the instance receive a 'Segmentation Fault' "
         "signal, check code"},
        {SIGABRT, 1,
         "gtwhandler->gtwHandlerSigabrtHandler called, the instance receive a 'Abort' signal, "
         "memory problem"},
        {SIGPIPE, kSurvived,
         "gtwhandler->gtwHandlerSigpipeHandler called, the instance receive a 'Pipe' signal, some "
         "handlers went down"},
        {SIGCHLD, kSurvived,
         "gtwhandler->gtwHandlerSigchldHandler called, the instance receive a 'Child' signal, some "
         "handlers went down"},
    };
    for (const auto& signal : cases) {
        EXPECT_EQ(ending_of(start([&] { raise(signal.number); })), signal.code) << signal.line;
        ASSERT_TRUE(logged(signal.line));
        for (const simulator::SystemLog::Line& line : log_.lines()) {
            EXPECT_EQ(line.text == signal.line ? line.priority : 3, 3);
        }
    }
    log_.clear();
    EXPECT_EQ(ending_of(start([] { raise(SIGTERM); })), 0);
    EXPECT_EQ(lines_with("gtwhandler->"), 0U);
}

// The child is nearly always inside malloc or syslog: a handler that used either would lock up.
TEST_F(GtwSignals, MayInterruptTheAllocatorAndTheSystemLog) {
    const pid_t child = start([] {
        while (true) {
            const std::string text(1000, 'x');
            info("busy %s", text.c_str());
        }
    });
    ASSERT_TRUE(logged("busy"));
    for (int i = 0; i < 300; ++i) {
        kill(child, i % 2 == 0 ? SIGPIPE : SIGCHLD);
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    kill(child, SIGABRT);
    EXPECT_EQ(ending_of(child), 1);
}

}  // namespace
