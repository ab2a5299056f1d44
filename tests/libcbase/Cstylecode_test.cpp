#include "libcbase/Cstylecode.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <net/if.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "libcbase/memory.h"
#include "tests/support/SystemLogTest.h"

namespace {

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

/// While it lives, a signal interrupts the calling thread every 20 ms, for 3 s at most.
class Interrupter final {
  public:
    Interrupter() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        thread_ = std::thread([this, receiver = pthread_self()] {
            for (int i = 0; i < 150 && !is_over_; ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                pthread_kill(receiver, SIGUSR1);
            }
        });
    }
    ~Interrupter() {
        is_over_ = true;
        thread_.join();
    }

  private:
    std::atomic<bool> is_over_{false};
    std::thread thread_;
};

class SocketTest : public SystemLogTest {
  protected:
    ~SocketTest() override { unlink(kSocketPath); }
    static bool closes_on_exec(const FileDescriptor& fd) {
        return fcntl(fd.get(), F_GETFD) == FD_CLOEXEC;
    }
    static std::string with_pid(const std::string& text) {
        return text + " for pid=" + std::to_string(getpid());
    }
};

TEST_F(SocketTest, ReplacesAStaleFileAtTheServersPath) {
    std::ofstream(kSocketPath) << "stale";
    const FileDescriptor server(make_local_socket(kSocketPath, 1));
    ASSERT_TRUE(server);
    struct stat status {};
    ASSERT_EQ(stat(kSocketPath, &status), 0);
    EXPECT_EQ(status.st_mode, S_IFSOCK | 0777u);
    const FileDescriptor client(make_localtcpclient_socket(kSocketPath));
    EXPECT_TRUE(client);
    EXPECT_TRUE(closes_on_exec(server) && closes_on_exec(client));
}

TEST_F(SocketTest, SignalsDoNotExtendTheLimitOfAConnect) {
    int port = 0;
    const FileDescriptor servers[] = {FileDescriptor(make_local_socket(kSocketPath, 0)),
                                      FileDescriptor(make_internet_socket_randomport(&port, 0))};
    // Each queue has room for one, and no connection is accepted.
    const FileDescriptor waiting[] = {
        FileDescriptor(make_localtcpclient_socket(kSocketPath)),
        FileDescriptor(make_internettcpclient_socket("127.0.0.1", port))};
    ASSERT_TRUE(waiting[0] && waiting[1]);
    const Interrupter interrupter;
    for (const bool is_local : {true, false}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(is_local ? make_localtcpclient_socket(kSocketPath, 200)
                           : make_internettcpclient_socket("127.0.0.1", port, 200),
                  -1);
        EXPECT_EQ(errno, ETIMEDOUT) << is_local;
        const auto taken = std::chrono::steady_clock::now() - start;
        EXPECT_GE(taken, std::chrono::milliseconds(190));
        EXPECT_LT(taken, std::chrono::milliseconds(1000)) << is_local;
    }
    EXPECT_TRUE(
        logged(with_pid("Cstylecode->make_localtcpclient_socket connect failed with error "
                        "'Connection timed out'")));
}

TEST_F(SocketTest, SignalsDoNotEndAReceive) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const FileDescriptor reader(ends[0]);
    const FileDescriptor silent_peer(ends[1]);
    const Interrupter interrupter;
    const auto start = std::chrono::steady_clock::now();
    std::string text;
    EXPECT_EQ(receive_until(reader.get(), text, start + std::chrono::milliseconds(200)), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
}

TEST_F(SocketTest, ServesTheLongestPathAndTheHighestPort) {
    std::string path = "/tmp/vexa_variables/sockets/";
    path.append(sizeof(sockaddr_un::sun_path) - 1 - path.size(), 'p');
    const FileDescriptor local(make_local_socket(path.c_str(), 1));
    EXPECT_TRUE(local);
    EXPECT_TRUE(FileDescriptor(make_localtcpclient_socket(path.c_str())));
    unlink(path.c_str());
    const FileDescriptor internet(make_internet_socket(65535, 1));
    EXPECT_TRUE(internet);
    EXPECT_TRUE(FileDescriptor(make_internettcpclient_socket("127.0.0.1", 65535)));
}

TEST_F(SocketTest, RefusesAPathLongerThanTheAddress) {
    // 108 characters leave no room for the terminator; cut to 107 the path would name another file.
    const std::string path = "/tmp/" + std::string(103, 'p');
    EXPECT_EQ(make_local_socket(path.c_str(), 1), -1);
    EXPECT_EQ(make_localtcpclient_socket(path.c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(make_localtcpclient_socket(""), -1);
    EXPECT_TRUE(
        logged("Cstylecode->make_local_socket bind failed with error 'File name too long'"));
    EXPECT_TRUE(
        logged(with_pid("Cstylecode->make_localtcpclient_socket connect failed with error "
                        "'File name too long'")));
}

TEST_F(SocketTest, ServesAPortThatTheSystemChooses) {
    int port = 0;
    const FileDescriptor server(make_internet_socket_randomport(&port, 1));
    ASSERT_TRUE(server);
    EXPECT_GT(port, 0);
    const FileDescriptor client(make_internettcpclient_socket("127.0.0.1", port));
    ASSERT_TRUE(client);
    EXPECT_TRUE(closes_on_exec(server) && closes_on_exec(client));

    EXPECT_FALSE(FileDescriptor(make_internet_socket(port, 1)));
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
    const char* const kConnect =
        "Cstylecode->make_internettcpclient_socket connect failed with error 'Invalid argument'";
    EXPECT_EQ(make_internettcpclient_socket("127.0.0.1", 65536 + 80), -1);
    EXPECT_EQ(make_internettcpclient_socket("127.0.0.1", -1), -1);
    EXPECT_EQ(make_internettcpclient_socket("localhost", 80), -1);
    EXPECT_EQ(lines_with(with_pid(kConnect)), 3u);
    EXPECT_EQ(make_internet_socket(65536, 1), -1);
    EXPECT_EQ(make_internettcpclient_socket("127.0.0.1", 1), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(SocketTest, NamesEth0WhenItIsMissing) {
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
