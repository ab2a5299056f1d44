#include <future>

#include <gmock/gmock.h>

#include "gtwhandler/GtwHandler.h"
#include "tests/gtwhandler/LoopTest.h"
#include "tests/support/Vectors.h"

namespace {

using gtwhandlernamespace::GtwHandler;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

const std::string kReceive1 = "recv reading request [1] failed with error ";
const std::string kReceive2 = "recv reading request [2] failed with error ";

class GtwRequests : public LoopTest {
  protected:
    // One step: the status of the answer and the call; or, without an answer, the last error. It is
    // also in the log, and what all such texts have in common is left out.
    std::string outcome(CorePeer& core) {
        gateway_.calls.clear();
        const int result = loop_.run();
        const std::string answer = receive_all(core);
        if (result == gateway_.result && !gateway_.calls.empty()) {
            EXPECT_EQ(answer, kDone);
            return "FSMC-000 " + call();
        }
        EXPECT_TRUE(gateway_.calls.empty());
        const std::string text = loop_.getLastError();
        EXPECT_TRUE(logged(escape_control_characters(text)));
        EXPECT_THAT(text, StartsWith("GtwHandler::run "));
        std::string problem = text.substr(16, text.rfind(" continuing for the next request") - 16);
        if (result == -1) {
            EXPECT_THAT(answer, testing::AnyOf("", "reset"));
            return problem;
        }
        EXPECT_EQ(result, 1) << "the number of ready descriptors";
        EXPECT_EQ(loop_.getLastEventKind(), GtwHandler::EventKind::core_request);
        EXPECT_EQ(answer, "Response Status: FSMC-008\nParameter Count: 0\n\n");
        return "FSMC-008 " + problem;
    }
    std::string outcome(const std::string& bytes) {
        CorePeer core = connect_core();
        core.write(bytes);
        shutdown(core.fd(), SHUT_WR);
        return outcome(core);
    }
    std::string call() const {
        const auto& call = *gateway_.calls.back();
        return std::to_string(call.objectId) + " (" + call.action + ")(" + call.p2 + ")(" +
               call.p3 + ")(" + call.p4 + ")(" + call.p5 + ")";
    }
};

TEST_F(GtwRequests, AreAnsweredOrRefused) {
    for_each_vector("gtwhandler/requests.txt", "requests", 3,
                    [this](const auto& cells) { EXPECT_EQ(outcome(cells[0]), cells[1]); });
    for_each_vector("gtwhandler/requests.txt", "bodies", 3,
                    [this](const auto& cells) { EXPECT_EQ(outcome(framed(cells[0])), cells[1]); });
    EXPECT_THAT(outcome(framed(std::string(4096, '\xaa'))), StartsWith("strtok parsing '\xaa\xaa"));
    CorePeer core = connect_core();
    core.write(request({"7", "RUN"}) + std::string(3000, 'x'));
    EXPECT_EQ(outcome(core), "FSMC-000 7 (RUN)()()()()") << "unread bytes must not reset it";
}

TEST_F(GtwRequests, AreAnsweredBeforeTheGatewaysSeeThemExceptQuit) {
    RecordingGateway second;
    second.result = 5;
    loop_.addGateway(&second);
    for (const bool is_quit : {false, true}) {
        CorePeer core = connect_core();
        gateway_.watched_fd = second.watched_fd = core.fd();
        core.write(
            request({"-2147483648", is_quit ? "QUIT" : "RUN", "", "", "", std::string(511, 'x')}));
        EXPECT_EQ(loop_.run(), 5) << "the last callback's result";
        EXPECT_EQ(loop_.getLastEventKind(), GtwHandler::EventKind::core_request);
        EXPECT_EQ(receive_all(core), kDone);
        EXPECT_EQ(gateway_.was_answered, !is_quit);
        EXPECT_EQ(second.was_answered, !is_quit);
    }
    EXPECT_TRUE(gateway_.calls.size() == 1 && second.quits.size() == 1);
    EXPECT_EQ(call(), "-2147483648 (RUN)()()()(" + std::string(511, 'x') + ")");
}

TEST_F(GtwRequests, ASilentPeerDelaysNoOtherAndTimesOut) {
    CorePeer silent = connect_core();
    const Clock::time_point start = Clock::now();
    EXPECT_TRUE(is_idle());
    CorePeer half = connect_core();
    half.write("LengthRequestIs: 000");
    EXPECT_TRUE(is_idle());
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(serves_a_request());
    }
    EXPECT_LT(Clock::now() - start, seconds(3));
    EXPECT_EQ(outcome(silent), kReceive1 + "'Connection timed out',");
    EXPECT_GE(Clock::now() - start, seconds(GtwHandler::kRequestDeadlineSeconds));
    EXPECT_EQ(outcome(half), kReceive2 + "'Connection timed out',");
    EXPECT_LT(Clock::now() - start, seconds(GtwHandler::kRequestDeadlineSeconds + 2));
}

TEST_F(GtwRequests, APeerThatSendsByteByByteDoesNotProlongTheStep) {
    CorePeer core = connect_core();
    const auto sender = std::async(std::launch::async, [&] {
        core.write_slowly("LengthRequestIs: 4000\n" + std::string(3000, 'x'), milliseconds(2));
    });
    loop_.setSelectTimeout(0, 100000);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(loop_.run() + loop_.run(), 0);
    EXPECT_EQ(loop_.getLastEventKind(), GtwHandler::EventKind::select_timeout);
    EXPECT_GE(Clock::now() - start, milliseconds(200)) << "part of a request is no event";
    EXPECT_LT(Clock::now() - start, seconds(2));
    EXPECT_TRUE(serves_a_request());
    shutdown(core.fd(), SHUT_RDWR);  // ends the sender
}

TEST_F(GtwRequests, AFullTableOfSilentPeersDropsTheOldest) {
    std::vector<CorePeer> peers;
    for (std::size_t i = 0; i < GtwHandler::kMaxPendingRequests; ++i) {
        peers.push_back(connect_core());
        peers.back().write("L");
    }
    loop_.setSelectTimeout(0, 100000);
    EXPECT_EQ(loop_.run(), 0);
    loop_.setSelectTimeout(10, 0);
    EXPECT_TRUE(serves_a_request()) << "a request that arrives whole needs no place";
    CorePeer next = connect_core();
    EXPECT_EQ(outcome(peers[0]), kReceive2 + "'displaced by a later connection',");
    peers[1].write(request({"7", "RUN"}).substr(1));
    EXPECT_EQ(outcome(peers[1]), "FSMC-000 7 (RUN)()()()()");
}

TEST_F(GtwRequests, OfAPeerThatDisconnectsAreRecordedOrServed) {
    connect_core().write(request({"7", "RUN"}));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(gateway_.calls.size(), 1U) << "a whole request counts without its peer";
    CorePeer core = connect_core();
    core.write("Leng");
    EXPECT_TRUE(is_idle());
    core.reset();
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_TRUE(logged(kReceive2 + "'Connection reset by peer'"));
}

}  // namespace
