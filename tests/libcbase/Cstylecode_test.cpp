#include "libcbase/Cstylecode.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <future>
#include <string>
#include <thread>

#include <fcntl.h>
#include <net/if.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "libcbase/memory.h"
#include "tests/support/SystemLogTest.h"

namespace {

constexpr const char* kSocketPath = "/tmp/vexa_variables/sockets/cstylecode_test.socket";

using LogTest = SystemLogTest;

TEST_F(LogTest, GivesEachFunctionItsPriority) {
    openlogfile();
    const struct {
        void (*log)(const char*, ...);
        int priority;
    } cases[] = {{error, 3},       {warning, 4}, {info, 6},         {verbose_info, 6},
                 {logged_info, 6}, {debug, 7},   {verbose_debug, 7}};
    int number = 0;
    for (const auto& c : cases) {
        const std::string text = "line " + std::to_string(++number);
        errno = ENOENT;
        c.log("%s of %d", text.c_str(), 7);
        EXPECT_EQ(errno, ENOENT);
        ASSERT_TRUE(logged(text));
        const auto line = log_.lines().back();
        EXPECT_EQ(line.text, text + " of 7");
        EXPECT_EQ(line.priority, c.priority) << text;
        EXPECT_EQ(line.facility, 16);
        EXPECT_EQ(line.pid, getpid());
    }
    byteinfo("nothing %d", 1);
    EXPECT_TRUE(never_logged("nothing"));
    closelogfile();
}

TEST_F(LogTest, CutsALineAt1023CharactersAndReadsItsTextOnce) {
    error("start %s", std::string(2000, 'x').c_str());
    error("%s", "100% of %s and %n");
    ASSERT_TRUE(logged("100%"));
    EXPECT_EQ(log_.lines().front().text, "start " + std::string(1017, 'x'));
    EXPECT_EQ(log_.lines().back().text, "100% of %s and %n");
}

TEST_F(LogTest, AFullLogHoldsNobodyUpAndCountsWhatIsLost) {
    log_.stops_reading();
    std::size_t written = 2000;
    std::future<void> writer = std::async(std::launch::async, [written] {
        for (std::size_t i = 0; i < written; ++i) {
            error("one of many");
        }
    });
    EXPECT_EQ(writer.wait_for(std::chrono::seconds(2)), std::future_status::ready);
    log_.recovers();
    writer.wait();
    for (bool is_heard = false; !is_heard && written < 2200; ++written) {
        error("one once more");
        is_heard = log_.wait_for("one once more", std::chrono::milliseconds(50));
    }
    log_.catches_up();  // what was heard may be the line before the last
    std::size_t lost = 0;
    for (const auto& line : log_.lines()) {
        lost += line.text.find("lines lost") != std::string::npos ? std::stoul(line.text) : 0;
    }
    EXPECT_GT(lost, 0U);
    EXPECT_EQ(log_.count("one ") + lost, written);
}

TEST(SignalLog, ReachesALogThatWasRestarted) {
    prepare_signal_log();
    prepare_signal_log();
    error_from_signal_handler("nobody hears", 12);
    for (int start = 0; start < 2; ++start) {
        const simulator::SystemLog log;
        error("an ordinary line");
        errno = ENOENT;
        error_from_signal_handler("signal text, not all", 11);
        EXPECT_EQ(errno, ENOENT);
        ASSERT_TRUE(log.wait_for("signal text"));
        const auto lines = log.lines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[1].text, "signal text");
        EXPECT_EQ(lines[1].priority, 3);
        EXPECT_EQ(lines[1].facility, 16);
        EXPECT_EQ(lines[1].ident, lines[0].ident);
        EXPECT_EQ(lines[1].pid, getpid());
    }
}

// The daemon's last words, at a moment when others have filled the log's queue.
TEST_F(LogTest, AHandlersLineWaitsForRoomAsLongAsItIsTold) {
    prepare_signal_log();
    log_.stops_reading();
    for (int i = 0; i < 2000; ++i) {
        error_from_signal_handler("many", 4);
    }
    error_from_signal_handler("lost", 4, 20);
    auto speaks =
        std::async(std::launch::async, [] { error_from_signal_handler("last words", 10, 10000); });
    EXPECT_EQ(speaks.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    log_.recovers();
    EXPECT_TRUE(logged("last words"));
    EXPECT_EQ(log_.count("lost"), 0U);
}

TEST(Descriptor, ClosesWhatItHoldsOnce) {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    FileDescriptor first(fd);
    FileDescriptor second(std::move(first));
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): that it is empty is the promise
    EXPECT_EQ(second.get(), fd);
    errno = ENOENT;
    second.reset();
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

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

TEST_F(SocketTest, ServesAPathWhereAStaleFileStands) {
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

TEST_F(SocketTest, CountsTheLimitOfAConnectOnWhenSignalsInterruptIt) {
    int port = 0;
    const FileDescriptor servers[] = {FileDescriptor(make_local_socket(kSocketPath, 0)),
                                      FileDescriptor(make_internet_socket_randomport(&port, 0))};
    // Each queue has room for one, and nobody accepts.
    const FileDescriptor waiting[] = {
        FileDescriptor(make_localtcpclient_socket(kSocketPath)),
        FileDescriptor(make_internettcpclient_socket("127.0.0.1", port))};
    ASSERT_TRUE(waiting[0] && waiting[1]);
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    std::atomic<bool> is_over{false};
    std::thread interrupter([&, receiver = pthread_self()] {
        for (int i = 0; i < 150 && !is_over; ++i) {  // for 3 s at most
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            pthread_kill(receiver, SIGUSR1);
        }
    });
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
    is_over = true;
    interrupter.join();
    EXPECT_TRUE(
        logged(with_pid("Cstylecode->make_localtcpclient_socket connect failed with error "
                        "'Connection timed out'")));
}

TEST_F(SocketTest, RefusesAPathLongerThanTheAddress) {
    // With 108 characters there is no room for the terminator; cut to 107 it would name another
    // file.
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

TEST_F(SocketTest, RefusesAddressesThatAreNone) {
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
