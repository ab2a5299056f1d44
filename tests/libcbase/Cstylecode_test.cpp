#include "libcbase/Cstylecode.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <string>

#include <fcntl.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "libcbase/memory.h"
#include "tests/support/SystemLogTest.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kSocketPath = "/tmp/vexa_variables/sockets/cstylecode_test.socket";

TEST(Descriptor, ClosesWhatItHoldsOnce) {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    FileDescriptor first(fd);
    FileDescriptor second(std::move(first));
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): a moved-from descriptor is empty
    EXPECT_EQ(second.get(), fd);
    errno = ENOENT;
    second.reset();
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

/// Interrupts the main thread by a signal with this period; 0 ends it.
void interrupt_every(suseconds_t period_ms) {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    const timeval time{0, period_ms * 1000};
    const itimerval timer{time, time};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

class SocketTest : public SystemLogTest {
  protected:
    ~SocketTest() override { unlink(kSocketPath); }
    static bool closes_on_exec(const FileDescriptor& fd) {
        return fcntl(fd.get(), F_GETFD) == FD_CLOEXEC;
    }
};

TEST_F(SocketTest, ReplacesAStaleFileAtTheServersPath) {
    std::ofstream(kSocketPath) << "stale";
    const FileDescriptor server(make_local_socket(kSocketPath, 1));
    struct stat status {};
    ASSERT_EQ(stat(kSocketPath, &status), 0);
    EXPECT_EQ(status.st_mode, S_IFSOCK | 0777u);
    const FileDescriptor client(make_localtcpclient_socket(kSocketPath));
    EXPECT_TRUE(client && closes_on_exec(server) && closes_on_exec(client));
}

TEST_F(SocketTest, SignalsDoNotExtendALimit) {
    int port = 0;
    const FileDescriptor servers[] = {FileDescriptor(make_local_socket(kSocketPath, 0)),
                                      FileDescriptor(make_internet_socket_randomport(&port, 0))};
    // Each queue has room for one, and no connection is accepted.
    const FileDescriptor waiting[] = {
        FileDescriptor(make_localtcpclient_socket(kSocketPath)),
        FileDescriptor(make_internettcpclient_socket("127.0.0.1", port))};
    ASSERT_TRUE(waiting[0] && waiting[1]);
    std::string text;
    const std::function<ssize_t()> calls[] = {
        [] { return make_localtcpclient_socket(kSocketPath, 200); },
        [&] { return make_internettcpclient_socket("127.0.0.1", port, 200); },
        [&] { return receive_until(waiting[0].get(), text, Clock::now() + milliseconds(200)); }};
    interrupt_every(20);
    for (const auto& call : calls) {
        const auto start = Clock::now();
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(errno, ETIMEDOUT) << &call - calls;
        EXPECT_GE(Clock::now() - start, milliseconds(190));
        EXPECT_LT(Clock::now() - start, milliseconds(1000)) << &call - calls;
    }
    interrupt_every(0);
    EXPECT_EQ(lines_with("connect failed with error 'Connection timed out' for pid="), 2U);
}

TEST_F(SocketTest, ServesTheLongestPathAndNoLongerOne) {
    std::string path = "/tmp/vexa_variables/sockets/";
    path.append(sizeof(sockaddr_un::sun_path) - 1 - path.size(), 'p');
    const FileDescriptor server(make_local_socket(path.c_str(), 1));
    EXPECT_TRUE(FileDescriptor(make_localtcpclient_socket(path.c_str())));
    // One more leaves no room for the terminator; a cut path would name this file.
    const std::string longer = path + "p";
    EXPECT_EQ(make_localtcpclient_socket(longer.c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(make_local_socket(longer.c_str(), 1), -1);
    EXPECT_TRUE(
        logged("Cstylecode->make_local_socket bind failed with error 'File name too long'"));
    EXPECT_EQ(make_localtcpclient_socket(""), -1);
    EXPECT_EQ(errno, EINVAL);
    unlink(path.c_str());
}

TEST_F(SocketTest, ServesAPortThatTheSystemChooses) {
    int port = 0;
    const FileDescriptor server(make_internet_socket_randomport(&port, 1));
    const FileDescriptor client(make_internettcpclient_socket("127.0.0.1", port));
    ASSERT_TRUE(server && client && closes_on_exec(server) && closes_on_exec(client));

    EXPECT_EQ(make_internet_socket(port, 1), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_TRUE(
        logged("Cstylecode->make_internet_socket bind failed with error 'Address already in use'"));

    ASSERT_TRUE(set_socket_timeouts(client.get(), 20));
    char byte = 0;
    EXPECT_EQ(recv(client.get(), &byte, 1, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_FALSE(set_socket_timeouts(client.get(), 0));
}

TEST_F(SocketTest, RefusesInvalidAddresses) {
    const FileDescriptor highest(make_internet_socket(65535, 1));
    EXPECT_TRUE(FileDescriptor(make_internettcpclient_socket("127.0.0.1", 65535)));
    EXPECT_EQ(make_internet_socket(65536, 1), -1);
    EXPECT_EQ(make_internettcpclient_socket("127.0.0.1", 65536 + 80), -1);
    EXPECT_EQ(make_internettcpclient_socket("127.0.0.1", -1), -1);
    EXPECT_EQ(make_internettcpclient_socket("localhost", 80), -1);
    EXPECT_EQ(lines_with("Cstylecode->make_internettcpclient_socket connect failed with error "
                         "'Invalid argument' for pid=" +
                         std::to_string(getpid())),
              3U);
    EXPECT_EQ(make_internettcpclient_socket("127.0.0.1", 1), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST(Interface, IsNamedWhenItIsMissing) {
    if (if_nametoindex("eth0") != 0) {
        GTEST_SKIP() << "on a machine that has an eth0";
    }
    char* text = nullptr;
    EXPECT_EQ(getlocalmac(&text), -1);
    EXPECT_STREQ(xstring(text).get(), "No MAC: ioctl function fail for interface eth0");
    EXPECT_EQ(getlocalip(&text), -1);
    EXPECT_STREQ(xstring(text).get(), "No IP: ioctl function fail for interface eth0");
    unsigned char raw[6];
    EXPECT_EQ(getlocalrawmac(raw), -1);
}

TEST(HexString, HasTwoUpperCaseDigitsForEachByteAndAtLeastOneByte) {
    const unsigned char bytes[] = {0x00, 0x9F, 0xFA};
    EXPECT_STREQ(xstring(convert_bytearraytohexstring(3, bytes)).get(), "009FFA");
    EXPECT_STREQ(xstring(convert_bytearraytohexstring(0, bytes)).get(), "00");
    EXPECT_EQ(convert_bytearraytohexstring(3, nullptr), nullptr);
}

}  // namespace
