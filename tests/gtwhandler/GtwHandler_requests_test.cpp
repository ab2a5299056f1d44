#include <atomic>
#include <thread>

#include <gmock/gmock.h>

#include "gtwhandler/GtwHandler.h"
#include "tests/gtwhandler/LoopTest.h"
#include "tests/support/Vectors.h"

namespace {

using gtwhandlernamespace::GtwHandler;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kReceive1 = "GtwHandler::run recv reading request [1] failed with error ";
constexpr const char* kReceive2 = "GtwHandler::run recv reading request [2] failed with error ";

class GtwRequests : public LoopTest {
  protected:
    // The peer's request fails in one step, without an answer, and the last error begins so.
    void expect_failure(CorePeer& core, const std::string& message) {
        EXPECT_EQ(loop_.run(), -1);
        EXPECT_THAT(loop_.getLastError(), testing::StartsWith(message));
        EXPECT_THAT(core.receive_all(), testing::AnyOf("", "reset"));
    }
    // The last error without its beginning and its end, which is also in the log.
    std::string problem() const {
        const std::string text = loop_.getLastError();
        EXPECT_TRUE(logged(escape_control_characters(text)));
        const std::string start = "GtwHandler::run ";
        EXPECT_EQ(text.substr(0, start.size()), start);
        return text.substr(start.size(),
                           text.rfind(" continuing for the next request") - start.size());
    }
    // As in the vectors.
    std::string outcome(const std::string& bytes) {
        gateway_.calls.clear();
        CorePeer core = connect_core();
        const int result = (core.send(bytes), loop_.run());
        if (result == -1) {
            EXPECT_THAT(core.receive_all(), testing::AnyOf("", "reset"));
            EXPECT_TRUE(gateway_.calls.empty());
            return problem();
        }
        EXPECT_EQ(loop_.getLastEventKind(), GtwHandler::EventKind::core_request);
        EXPECT_EQ(result, gateway_.calls.empty() ? 1 : 0) << "the number of ready descriptors";
        const std::string answer = core.receive_all();
        const std::string status = answer.substr(answer.find("FSMC"), 8);
        EXPECT_EQ(answer, "Response Status: " + status + "\nParameter Count: 0\n\n");
        return status + " " + (gateway_.calls.empty() ? problem() : call());
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
    EXPECT_THAT(outcome(framed(std::string(4096, '\xaa'))),
                testing::StartsWith("strtok parsing '\xaa\xaa"));
    EXPECT_TRUE(serves_a_request());
}

TEST_F(GtwRequests, AnswersBeforeTheGatewaysSeeTheCall) {
    RecordingGateway second;
    second.result = 5;
    loop_.addGateway(&second);
    CorePeer core = connect_core();
    gateway_.watched = second.watched = &core;
    core.send(request({"-2147483648", "RUN", "", "three", "", std::string(511, 'x')}));
    EXPECT_EQ(loop_.run(), 5) << "the last callback's result";
    EXPECT_EQ(loop_.getLastEventKind(), GtwHandler::EventKind::core_request);
    EXPECT_EQ(core.receive_all(), kDone);
    EXPECT_TRUE(gateway_.was_answered && second.was_answered);
    EXPECT_EQ(call(), "-2147483648 (RUN)()(three)()(" + std::string(511, 'x') + ")");
}

TEST_F(GtwRequests, QuitReachesEveryGatewayBeforeItsAnswer) {
    RecordingGateway second;
    loop_.addGateway(&second);
    CorePeer core = connect_core();
    gateway_.watched = second.watched = &core;
    core.send(request({"7", "QUIT"}, "service_runonelement"));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(core.receive_all(), kDone);
    ASSERT_EQ(second.quits.size(), 1U);
    EXPECT_FALSE(gateway_.was_answered || second.was_answered);
    EXPECT_TRUE(gateway_.calls.empty());
}

TEST_F(GtwRequests, WaitForTheAnnouncedBytes) {
    const std::string text = request({"7", "RUN", "", "80"});
    for (const std::size_t cut : {std::size_t{4}, text.find('\n') + 1, text.size() - 1}) {
        CorePeer core = connect_core();
        core.send(text.substr(0, cut));
        EXPECT_TRUE(is_idle()) << "part of a request is no event, cut at " << cut;
        core.send(text.substr(cut));
        EXPECT_EQ(loop_.run(), 0);
        EXPECT_EQ(core.receive_all(), kDone);
    }
    EXPECT_EQ(gateway_.calls.size(), 3U);
    // So does the verdict on a tag.
    CorePeer core = connect_core();
    core.send("LengthRequestIs: 7\nReques");
    EXPECT_TRUE(is_idle());
    expect_failure(core.send("s"), "GtwHandler::run strtok parsing 'Requess' request tag failed");
    CorePeer talkative = connect_core();
    talkative.send(text + std::string(3000, 'x'));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(talkative.receive_all(), kDone) << "unread bytes must not reset the connection";
}

TEST_F(GtwRequests, ASilentPeerDelaysNoOtherAndTimesOut) {
    CorePeer silent = connect_core();
    const Clock::time_point start = Clock::now();
    EXPECT_TRUE(is_idle());
    CorePeer half = connect_core();
    half.send("LengthRequestIs: 000");
    EXPECT_TRUE(is_idle());
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(serves_a_request());
    }
    EXPECT_LT(Clock::now() - start, seconds(3));
    expect_failure(
        silent, std::string(kReceive1) + "'Connection timed out', continuing for the next request");
    EXPECT_GE(Clock::now() - start, seconds(GtwHandler::kRequestDeadlineSeconds));
    expect_failure(half, std::string(kReceive2) + "'Connection timed out'");
    EXPECT_LT(Clock::now() - start, seconds(GtwHandler::kRequestDeadlineSeconds + 2));
    EXPECT_TRUE(serves_a_request());
}

TEST_F(GtwRequests, APeerThatSendsByteByByteDoesNotProlongTheStep) {
    CorePeer core = connect_core();
    std::atomic<bool> is_over{false};
    std::thread sender([&] {
        core.send("LengthRequestIs: 4000\n");
        while (!is_over) {
            core.send("x");
            std::this_thread::sleep_for(milliseconds(2));
        }
    });
    loop_.setSelectTimeout(0, 100000);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_GE(Clock::now() - start, milliseconds(100)) << "part of a request is no event";
    EXPECT_LT(Clock::now() - start, seconds(2));
    EXPECT_TRUE(serves_a_request());
    is_over = true;
    sender.join();
}

TEST_F(GtwRequests, AFullTableOfSilentPeersDropsTheOldest) {
    std::vector<CorePeer> peers;
    for (std::size_t i = 0; i < GtwHandler::kMaxPendingRequests; ++i) {
        peers.push_back(connect_core());
        peers.back().send("L");
    }
    loop_.setSelectTimeout(0, 100000);
    EXPECT_EQ(loop_.run(), 0);
    loop_.setSelectTimeout(10, 0);
    EXPECT_TRUE(serves_a_request()) << "a request that arrives whole needs no place";
    CorePeer next = connect_core();
    expect_failure(peers[0], std::string(kReceive2) + "'displaced by a later connection'");
    peers[1].send(request({"7", "RUN"}).substr(1));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(peers[1].receive_all(), kDone);
}

TEST_F(GtwRequests, RecordsAPeerThatDisconnects) {
    const std::string whole = request({"7", "RUN"});
    const auto fails = [this](const char* receive, const char* reason) {
        EXPECT_EQ(loop_.run(), -1);
        EXPECT_THAT(loop_.getLastError(), testing::StartsWith(std::string(receive) + reason));
    };
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{5}, whole.size() - 1}) {
        connect_core().send(whole.substr(0, bytes)).close();
        fails(bytes == 0 ? kReceive1 : kReceive2, "'connection closed by the peer', continuing");
    }
    CorePeer core = connect_core();
    core.send("Leng");
    EXPECT_TRUE(is_idle());
    core.reset();
    fails(kReceive2, "'Connection reset by peer'");
    EXPECT_TRUE(gateway_.calls.empty());
    // A whole request counts, whether or not its peer waits for the answer.
    connect_core().send(whole).close();
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(gateway_.calls.size(), 1U);
    EXPECT_TRUE(serves_a_request());
}

}  // namespace
