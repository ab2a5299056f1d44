#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/socket.h>

#include "HouseTest.h"
#include "libcbase/FSMCoreutil.h"

namespace {

class Endpoint : public HouseTest {
  protected:
    using Clock = std::chrono::steady_clock;

    static std::string request(const std::vector<std::string>& parameters) {
        return *fsmcore_format::compose_request(fsmcore_format::Form::length_managed,
                                                {"SERVICE_RUNONELEMENT", parameters, "5"});
    }
    static std::string framed(const std::string& body) {
        return "LengthRequestIs: " + std::to_string(body.size()) + "\n" + body;
    }
    static constexpr const char* kAnswer = "Response Status: FSMC-000\nParameter Count: 0\n\n";
};

TEST_F(Endpoint, RecordsWhatIsNoRequestAndServesTheNext) {
    start();
    const std::string kBody = "Request: SERVICE_RUNONELEMENT\n";
    const struct {
        std::string bytes;
        const char* line;
    } kBad[] = {
        {std::string("\x16\x03\x01\x00\xff\xfe\n\n", 8),
         "'LengthRequestIs: ' request statement is"},
        {"GET / HTTP/1.0\r\n\r\n", "'LengthRequestIs: ' request statement is"},
        {"LengthRequestIs: 12x\n", "not a valid number '12x'"},
        {"LengthRequestIs: -5\n", "not a valid number '-5'"},
        {"LengthRequestIs: 999999999\n", "not a valid number"},
        {"LengthRequestIs: 99999999999999999999\n", "not a valid number"},
        {framed("Rubbish: x\n\n"), "'LengthRequestIs: ' request statement is"},
        {framed(kBody + "Parameters: 1\n"), "tag 'Parameter Count: '"},
        {framed(kBody + "Parameter Count: 007\n"), "not a valid number"},
        {framed(kBody + "Parameter Count: -01\n"), "not a valid number"},
        {framed(kBody + "Parameter Count: 001\nParam000 Length: 000512\n"), "'Param000 Length: '"},
        {framed(kBody + "Parameter Count: 001\nParam000 Length: 000003\n"), "'Param000: '"},
        {framed(kBody + "Parameter Count: 000\nWaittime: soon\n\n"), "waittime parameter"},
        {request({"4x", "RUN", "1"}), "ObjectID in first parameter <4x> is not a valid number"},
    };
    for (const auto& bad : kBad) {
        SCOPED_TRACE(bad.bytes);
        house.log()->clear();
        EXPECT_EQ(house.core().sends_raw(bad.bytes), "") << "closed without an answer";
        EXPECT_TRUE(logs(bad.line, std::chrono::seconds(5))) << bad.line;
        runs(9999, "1");
    }
    runs(111, "1");
    EXPECT_TRUE(light_is(1, "on", "true"));
}

TEST_F(Endpoint, TakesARequestHoweverItIsCut) {
    start();
    const std::string text = request({"111", "RUN", "1", "", "", "CORE"});
    for (const int segments : {1, 2, 9, static_cast<int>(text.size() / 4)}) {
        EXPECT_EQ(house.core().sends_raw(text, segments), kAnswer) << segments;
    }
    EXPECT_TRUE(light_is(1, "on", "true"));
}

TEST_F(Endpoint, SilentSlowAndBrokenPeersDelayNobody) {
    start();
    std::vector<FileDescriptor> peers;
    for (int i = 0; i < 40; ++i) {
        peers.push_back(house.core().connects());
        ASSERT_TRUE(peers.back());
        if (i % 3 == 1) {
            send(peers.back().get(), "LengthRequestIs: 0000", 21, MSG_NOSIGNAL);
        } else if (i % 3 == 2) {
            const linger at_once{1, 0};
            setsockopt(peers.back().get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
            peers.back().reset();
        }
    }
    const auto asked = Clock::now();
    runs(111, "1");
    EXPECT_LT(Clock::now() - asked, std::chrono::seconds(2));
    EXPECT_TRUE(light_is(1, "on", "true"));

    // Each is closed in the end, without an answer.
    for (const FileDescriptor& peer : peers) {
        if (peer) {
            set_socket_timeouts(peer.get(), 15000);
            char byte = 0;
            EXPECT_LE(recv(peer.get(), &byte, 1, 0), 0);
            EXPECT_NE(errno, EAGAIN);
        }
    }
    runs(111, "0");
    EXPECT_TRUE(light_is(1, "on", "false"));
}

TEST_F(Endpoint, ManySilentPeersAndFewDescriptorsDelayNobody) {
    start();
    const rlimit few{24, 24};
    ASSERT_EQ(prlimit(house.daemon().pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::vector<FileDescriptor> silent;
    for (int command = 0; command < 20; ++command) {
        for (int i = 0; i < 5; ++i) {
            silent.push_back(house.core().connects());
        }
        const auto asked = Clock::now();
        runs(111, command % 2 == 0 ? "0" : "1");
        EXPECT_LT(Clock::now() - asked, std::chrono::milliseconds(700));
    }
    runs(122, "20");
    EXPECT_TRUE(light_is(2, "bri", "50")) << "the bridge must be reached with what is left";
}

TEST_F(Endpoint, AnswersAFunctionThatItDoesNotKnowAndRunsNothing) {
    start();
    EXPECT_NE(house.core().sends("SERVICE_OTHER", {"111", "RUN", "1"}), 0);
    runs(121, "0");
    EXPECT_TRUE(light_is(2, "on", "false"));
    EXPECT_FALSE(house.light(1).is_on());
}

TEST_F(Endpoint, QuitEndsTheThreadsAndTermTheProcess) {
    // SIGTERM ends the process in its handler, where nobody can join the threads that have ended;
    // to the thread sanitizer in the daemon that is a leak.
    const char* options = std::getenv("TSAN_OPTIONS");
    const std::string more =
        std::string(options == nullptr ? "" : options) + " report_thread_leaks=0";
    setenv("TSAN_OPTIONS", more.c_str(), 1);
    start();
    EXPECT_EQ(house.core().quits(), 0);
    for (const char* line : {"lumivad will terminate soon", "Exit from execute_request thread:",
                             "Exit from state_monitor thread:"}) {
        EXPECT_TRUE(logs(line)) << line;
    }
    runs(111, "1");  // still answered, no longer carried out
    EXPECT_TRUE(house.daemon().is_running());
    EXPECT_EQ(house.stop()->text(), "exit code 0");
    EXPECT_FALSE(house.light(1).is_on());
}

TEST_F(Endpoint, TermEndsTheProcessAtOnceWhileTheBridgeHangs) {
    start();
    house.bridge().stalls();
    const int before = house.bridge().gate().connections();
    runs(111, "1");
    ASSERT_TRUE(eventually([&] { return house.bridge().gate().connections() > before; }));
    house.daemon().signals(SIGTERM);
    const auto ending = house.daemon().wait(std::chrono::seconds(5));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->text(), "exit code 0");
    expects_end = true;
}

}  // namespace
