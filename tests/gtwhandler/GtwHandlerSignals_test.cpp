#include "gtwhandler/GtwHandlerSignals.h"

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "gtwhandler/GtwHandler.h"

namespace {

constexpr int kSurvived = 42;

// Ends this process as the handler of the signal does.
void receive(int number) {
    gtwhandlernamespace::GtwHandler loop(0, nullptr);
    if (loop.initialize() == 0) {
        alarm(10);
        raise(number);
        poll(nullptr, 0, 1);  // where the thread sanitizer delivers a signal
        _exit(kSurvived);
    }
}

// The thread sanitizer forks only a process with one thread, so the log is a bare socket.
TEST(GtwSignals, EndWithTheirCodeAndTheirLine) {
    const struct {
        int number, code;
        const char* line;  // after "gtwhandler->gtwHandler"; empty for none
    } cases[] = {
        {SIGSEGV, 1,
         "SigsegvHandler called, the instance receive a 'Segmentation Fault' signal, check code"},
        {SIGABRT, 1,
         "SigabrtHandler called, the instance receive a 'Abort' signal, memory problem"},
        {SIGPIPE, kSurvived,
         "SigpipeHandler called, the instance receive a 'Pipe' signal, some handlers went down"},
        {SIGCHLD, kSurvived,
         "SigchldHandler called, the instance receive a 'Child' signal, some handlers went down"},
        {SIGTERM, 0, ""},
    };
    signal(SIGCHLD, SIG_DFL);  // the loop of an earlier test in this process would log it too
    const FileDescriptor log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un path{AF_UNIX, "/dev/log"};
    unlink(path.sun_path);
    ASSERT_EQ(bind(log.get(), reinterpret_cast<const sockaddr*>(&path), sizeof(path)), 0);
    for (const auto& each : cases) {
        EXPECT_EXIT(receive(each.number), testing::ExitedWithCode(each.code), "");
        const std::string end = "gtwhandler->gtwHandler" + std::string(each.line);
        char line[512] = "";
        if (*each.line != '\0') {
            EXPECT_GT(recv(log.get(), line, sizeof(line) - 1, 0), 0) << end;
            EXPECT_THAT(line, testing::AllOf(testing::StartsWith("<131>"), testing::EndsWith(end)));
        }
        EXPECT_EQ(recv(log.get(), line, sizeof(line), 0), -1) << line;
    }
    unlink(path.sun_path);
}

}  // namespace
