#include <atomic>
#include <thread>

#include <gmock/gmock.h>

#include "gtwhandler/GtwHandler.h"
#include "tests/gtwhandler/LoopTest.h"

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
        ASSERT_NE(loop_.getLastError(), nullptr);
        EXPECT_THAT(loop_.getLastError(), testing::StartsWith(message));
        EXPECT_THAT(core.receive_all(), testing::AnyOf("", "reset"));
    }
    void expect_refusal(const std::string& bytes, const std::string& message) {
        SCOPED_TRACE(bytes);
        CorePeer core = connect_core();
        expect_failure(core.send(bytes), "GtwHandler::run " + message);
        EXPECT_TRUE(gateway_.calls.empty());
    }
};

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
    ASSERT_EQ(gateway_.calls.size(), 1U);
    const auto& call = *gateway_.calls[0];
    EXPECT_EQ(call.objectId, -2147483648L);
    EXPECT_EQ(call.action + "|" + call.p2 + "|" + call.p3 + "|" + call.p4 + "|" + call.p5,
              "RUN||three||" + std::string(511, 'x'));
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

TEST_F(GtwRequests, AnotherFunctionReachesNoGateway) {
    for (const char* function : {"SETVALUE", "SERVICE_RUNONELEMENTS", ""}) {
        CorePeer core = connect_core();
        core.send(request({"7", "QUIT"}, function));
        EXPECT_EQ(loop_.run(), 1) << "the number of ready descriptors";
        EXPECT_EQ(loop_.getLastEventKind(), GtwHandler::EventKind::core_request);
        EXPECT_EQ(core.receive_all(), "Response Status: FSMC-008\nParameter Count: 0\n\n");
        EXPECT_TRUE(
            logged("GtwHandler::run request '" + std::string(function) + "' is not supported"));
    }
    EXPECT_TRUE(gateway_.calls.empty() && gateway_.quits.empty());
}

TEST_F(GtwRequests, AcceptsARequestSplitAnywhere) {
    const std::string text = request({"7", "RUN", "", "80"});
    for (std::size_t cut = 1; cut < text.size(); ++cut) {
        CorePeer core = connect_core();
        core.send(text.substr(0, cut));
        ASSERT_TRUE(is_idle()) << "part of a request is no event, cut at " << cut;
        core.send(text.substr(cut));
        ASSERT_EQ(loop_.run(), 0) << cut;
        ASSERT_EQ(core.receive_all(), kDone);
        ASSERT_EQ(gateway_.calls.size(), cut);
    }
    // All in one step, a byte at a time.
    CorePeer core = connect_core();
    std::thread sender([&] {
        for (const char c : text) {
            core.send(std::string(1, c));
            std::this_thread::sleep_for(milliseconds(1));
        }
    });
    EXPECT_EQ(loop_.run(), 0);
    sender.join();
    EXPECT_EQ(gateway_.calls.size(), text.size());
}

TEST_F(GtwRequests, IgnoresBytesBeforeAndAfterTheBody) {
    CorePeer core = connect_core();
    std::string text = request({"7", "RUN"});
    text.insert(text.find('\n') + 1, "\n \n");
    core.send(text + std::string(3000, 'x'));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(core.receive_all(), kDone) << "bytes left unread must not reset the connection";
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

TEST_F(GtwRequests, RefusesABadLengthLine) {
    const std::string good = request({"7", "RUN"});
    const auto bad = [](const std::string& number) {
        return "length of request after 'LengthRequestIs: ' request statement is not a valid "
               "number '" +
               number + "', continuing for the next request";
    };
    for (const char* number : {"", "-1", "12x", " 12", "4097", "2147483647", "2147483648",
                               "99999999999999999999", "0", "0x10"}) {
        expect_refusal("LengthRequestIs: " + std::string(number) + "\nRequest: F\n", bad(number));
    }
    expect_refusal("\n" + good, bad(""));
    expect_refusal("lengthrequestis: 5\n", bad("lengthrequestis: 5"));
    expect_refusal("GET / HTTP/1.1\r\n\r\n", bad("GET / HTTP/1.1\r"));
    expect_refusal(std::string(65, 'x'), bad(std::string(65, 'x')));
    expect_refusal(good.substr(good.find('\n') + 1), bad("Request: SERVICE_RUNONELEMENT"));
    expect_refusal(std::string("\xff\xfe\0\1\n", 5), bad("\xff\xfe").substr(0, 80));
    expect_refusal("LengthRequestIs: 5\nRequest: F\n", bad("5"));
    EXPECT_TRUE(serves_a_request());
}

TEST_F(GtwRequests, NamesTheTagThatABodyDoesNotBeginWith) {
    const auto untagged = [](const std::string& line) {
        return "strtok parsing '" + line +
               "' request tag failed, not a well formed request tag 'Request: ' continuing for the "
               "next request";
    };
    expect_refusal(framed("request: SERVICE_RUNONELEMENT\n"),
                   untagged("request: SERVICE_RUNONELEMENT"));
    expect_refusal(framed("\nParameter Count: 0\nRequest:\n"), untagged("Parameter Count: 0"));
    expect_refusal("LengthRequestIs: 5\nhello\nRequest: F\n", untagged("hello"));
    expect_refusal(framed("\n\n"), untagged(""));
    expect_refusal(framed(std::string(4096, '\xaa')), "strtok parsing '\xaa\xaa");
    // The verdict waits for the announced bytes, wherever they are split.
    CorePeer core = connect_core();
    core.send("LengthRequestIs: 7\n");
    EXPECT_TRUE(is_idle());
    core.send("Reques");
    EXPECT_TRUE(is_idle());
    expect_failure(core.send("s"), "GtwHandler::run " + untagged("Requess"));
    EXPECT_TRUE(serves_a_request());
}

TEST_F(GtwRequests, AControlCharacterOfTheCoreForgesNoLogLine) {
    expect_refusal(framed("Request: F\nCo\runt\x1b[2K\n"), "strtok parsing 'Co\runt\x1b[2K'");
    EXPECT_TRUE(logged("strtok parsing 'Co\\x0dunt\\x1b[2K'"));
}

TEST_F(GtwRequests, RefusesABadBodyAndABadObjectId) {
    const auto refused = [this](const std::string& body, const std::string& message) {
        expect_refusal(framed("Request: F\n" + body), message + " for request 'F'" +
                                                          (message.front() == 's' ? "" : ",") +
                                                          " continuing for the next request");
    };
    const auto tag = [](const std::string& line, const std::string& expected) {
        return "strtok parsing '" + line + "' request tag failed, not a well formed request tag '" +
               expected + "'";
    };
    const auto number = [](const std::string& label, const std::string& value) {
        return " after '" + label + "' request statement is not a valid number '" + value + "'";
    };
    const std::string one = "Parameter Count: 1\n";
    const std::string none = "Parameter Count: 0\n";
    refused("", tag("", "Parameter Count: "));
    refused("Count: 1\n", tag("Count: 1", "Parameter Count: "));
    for (const std::string count : {"7", "-1", "x", "", "99999999999"}) {
        refused("Parameter Count: " + count + "\n",
                "number of parameters" + number("Parameter Count: ", count));
    }
    refused(one + "Param000 Size: 1\n", tag("Param000 Size: 1", "Param000 Length: "));
    for (const std::string length : {"512", "-1", "1x", "", "4294967297"}) {
        refused(one + "Param000 Length: " + length + "\n",
                "parameter length" + number("Param000 Length: ", length));
    }
    refused(one + "Param000 Length: 1\n7\n",
            "strtok parsing '7' request tag failed, not a well formed  request tag 'Param000: '");
    refused(one + "Param000 Length: 2\nParam000:\n7\n", tag("7", "Param000: "));
    refused("Parameter Count: 2\nParam000 Length: 0\nParam001 Length: 1\nParam001:\n77\n",
            tag("77", "Param001: "));
    refused(none + "\n", tag("", "Waittime: "));
    refused(none + "Waittime: soon\n", "waittime parameter" + number("Waittime: ", "soon"));
    refused(none + "Waittime: 5\n\nmore\n", tag("more", "\\n"));
    for (const std::string id : {"", "7x", "x", " 7", "2147483648"}) {
        expect_refusal(request({id, "RUN"}),
                       "ObjectID in first parameter <" + id +
                           "> is not a valid number, continuing for the next request");
    }
    expect_refusal(request({}), "ObjectID in first parameter <> is not a valid number");
    EXPECT_TRUE(serves_a_request());
}

}  // namespace
