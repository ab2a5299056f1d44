#include "libcbase/FSMCoreutil.h"

#include <chrono>

#include <fcntl.h>
#include <sys/socket.h>

#include "libcbase/memory.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/SystemLogTest.h"
#include "tests/support/Vectors.h"

namespace {

using namespace fsmcore_format;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

constexpr Limits kLimits{6, 511};
constexpr const char* kVectors = "libcbase/fsmcore.txt";

// As in the vectors.
std::string read(const std::string& body, Request& request) {
    static constexpr const char* kFaults[] = {
        "none",         "first_tag",       "status_format", "status_number", "count_tag",
        "count_number", "length_tag",      "length_number", "value_tag",     "value_mismatch",
        "waittime_tag", "waittime_number", "trailing"};
    const ParseResult result = parse_request(body, kLimits, request);
    return result ? request.function + " " + request.waittime + in_brackets(request.parameters)
                  : kFaults[static_cast<int>(result.fault)] +
                        (" " + std::to_string(result.parameter)) + " '" + result.offending + "'";
}

TEST(FsmcoreFormat, ComposesARequest) {
    for_each_vector(kVectors, "composed", 4, [](const Texts& cells) {
        const bool is_plain = cells[0] == "plain";
        Request request;
        EXPECT_EQ(read(cells[1].substr(is_plain ? 0 : cells[1].find('\n')), request), cells[2]);
        EXPECT_EQ(compose_request(is_plain ? Form::plain : Form::length_managed, request),
                  cells[1]);
    });
}

TEST(FsmcoreFormat, ReadsARequest) {
    for_each_vector(kVectors, "requests", 3, [](const Texts& cells) {
        Request request;
        EXPECT_EQ(read(cells[0], request), cells[1]);
    });
}

TEST(FsmcoreFormat, RefusesToComposeATextThatCouldNotBeReadBack) {
    const std::string nul("a\0b", 3);
    EXPECT_FALSE(compose_request(Form::plain, {nul, {}, "5"}));
    EXPECT_FALSE(compose_request(Form::plain, {"F", {"good", "two\nlines"}, "5"}));
    EXPECT_FALSE(compose_request(Form::length_managed, {"F", {}, nul}));
    EXPECT_FALSE(compose_response({0, {nul}}) || compose_response({-1, {}}));
    EXPECT_TRUE(compose_request(Form::plain, {"F", Texts(1000), "5"}));
    EXPECT_FALSE(compose_request(Form::plain, {"F", Texts(1001), "5"}));
}

// Client calls to a scripted core.
class FsmcoreCall : public SystemLogTest {
  protected:
    static constexpr const char* kPath = "/tmp/vexa_variables/sockets/call_test.socket";

    // The status and the values of the answer, or the local result and the last line of the log.
    std::string call(Form form = Form::plain, const Texts& values = {},
                     const char* waittime = "5") {
        log_.clear();
        Response response;
        const Clock::time_point start = Clock::now();
        const int result = fsmcore_call(kPath, form, {"FUNC", values, waittime}, response);
        taken_ = Clock::now() - start;
        const std::string line =
            last_line_after(form == Form::plain ? "FSMCoreutil->fsmcore_request "
                                                : "FSMCoreutil->fsmcore_request_lengthmgm ");
        return std::to_string(result) + (line.empty() ? "" : ": ") + line +
               in_brackets(response.parameters);
    }
    void check_answers(const char* section, Form form) {
        ScriptedPeer core(kPath);
        for_each_vector(kVectors, section, 3, [&](const Texts& cells) {
            core.set_answer(cells[0]);
            EXPECT_EQ(call(form, {"7", "", "RUN"}), cells[1]);
            EXPECT_EQ(core.last_request(), compose_request(form, {"FUNC", {"7", "", "RUN"}, "5"}));
        });
    }

    Clock::duration taken_{};
};

TEST_F(FsmcoreCall, ReadsAPlainAnswer) {
    check_answers("plain answers", Form::plain);
}

TEST_F(FsmcoreCall, ReadsALengthManagedAnswer) {
    check_answers("length-managed answers", Form::length_managed);
}

TEST_F(FsmcoreCall, TakesNullsAndReturnsHeapStringsInCStyle) {
    ScriptedPeer core(kPath);
    core.set_answer(
        "Response Status: FSMC-007\nParameter Count: 2\nParam000 Length: 0\n"
        "Param001 Length: 2\nParam001:\non\n\n");
    const char* const values[] = {"7", nullptr};
    int count = 0;
    char** texts = nullptr;
    EXPECT_EQ(fsmcore_request(kPath, "FUNC", 2, values, &count, &texts, nullptr), 7);
    EXPECT_EQ(core.last_request(), compose_request(Form::plain, {"FUNC", {"7", ""}, "5"}));
    ASSERT_EQ(count, 2);
    EXPECT_EQ(texts[0], nullptr);
    EXPECT_STREQ(xstring(texts[1]).get(), "on");
    xfree(texts);
    EXPECT_EQ(fsmcore_request_lengthmgm(kPath, nullptr, 0, nullptr, &count, &texts, "9"), 8);
    EXPECT_EQ(core.last_request(), compose_request(Form::length_managed, {"", {}, "9"}));
    EXPECT_TRUE(count == 0 && texts == nullptr);
    for (const int missing : {-1, 1}) {
        EXPECT_EQ(fsmcore_request(kPath, "FUNC", missing, nullptr, nullptr, nullptr, nullptr), 7);
    }
}

TEST_F(FsmcoreCall, SendsNoRequestThatDoesNotFit) {
    ScriptedPeer core(kPath);
    core.set_answer("Response Status: FSMC-000\nParameter Count: 0\n\n");
    const std::size_t rest = compose_request(Form::plain, {"FUNC", {""}, "5"})->size() + 2;
    const std::string fits(kBufferBytes - rest, 'x');  // 2 more digits in its length
    EXPECT_EQ(call(Form::plain, {fits}), "0");
    EXPECT_EQ(core.last_request().size(), kBufferBytes);
    const std::string problem = "7: send writing request failed with error ";
    EXPECT_EQ(call(Form::plain, {fits + "x"}), problem + "'Message too long' for function 'FUNC'");
    EXPECT_EQ(call(Form::plain, {"two\nlines"}),
              problem + "'Invalid argument' for function 'FUNC'");
    EXPECT_EQ(core.requests().size(), 1U);
}

TEST_F(FsmcoreCall, TimesOutWithinTheWaitTime) {
    const std::string no_core = "6: error opening socket FSMCore clientside for function 'FUNC'";
    EXPECT_EQ(call(), no_core);
    EXPECT_EQ(lines_with("make_localtcpclient_socket connect failed"), 5U);
    {
        // No connection is accepted, and the queue is full after the first.
        const FileDescriptor listener(make_local_socket(kPath, 0));
        const FileDescriptor first(make_localtcpclient_socket(kPath));
        EXPECT_EQ(call(Form::plain, {}, "1"), no_core);
        EXPECT_LT(taken_, seconds(3));
    }
    ScriptedPeer core(kPath);
    core.on_request([](auto& peer) { peer.hold(); });
    EXPECT_EQ(call(Form::plain, {}, "1"),
              "8: recv reading response failed with error 'Connection timed out' for function "
              "'FUNC'");
    EXPECT_LT(taken_, seconds(3));
    core.on_request([](auto& peer) {
        peer.write_slowly(std::string(60, 'L'), std::chrono::milliseconds(100));
    });
    EXPECT_EQ(call(Form::length_managed, {}, "1"),
              "8: recv reading request failed with error 'Connection timed out', continuing for "
              "the next request");
    EXPECT_LT(taken_, seconds(3)) << "a byte at a time must not extend the wait time";
    core.on_request([](auto& peer) { peer.reset(); });
    EXPECT_EQ(call().substr(0, 2), "8:");
}

TEST_F(FsmcoreCall, AnswersWithoutWaitingAndClosesTheSocketWhenItCannot) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const FileDescriptor peer(ends[1]);
    const std::string large(kBufferBytes, 'x');
    const char* const values[] = {"", "on", large.c_str()};
    ASSERT_EQ(fsmcore_response(ends[0], 7, 0, nullptr), FSMCORE_OK);
    ASSERT_EQ(fsmcore_response(ends[0], 0, 2, values), FSMCORE_OK);
    std::string text;
    EXPECT_GT(receive_until(peer.get(), text, Clock::now() + seconds(5)), 0);
    // The second is the worked example.
    EXPECT_EQ(text,
              "Response Status: FSMC-007\nParameter Count: 0\n\n"
              "Response Status: FSMC-000\nParameter Count: 2\nParam000 Length: 0\n"
              "Param000:\n\nParam001 Length: 2\nParam001:\non\n\n");
    EXPECT_EQ(fsmcore_response(-1, 0, 3, values), FSMCORE_SEND_FAILED);
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_response send writing response failed with error "
               "'Message too long'"));
    while (send(ends[0], large.data(), large.size(), MSG_DONTWAIT) > 0) {
    }
    EXPECT_EQ(fsmcore_response(ends[0], 0, 0, nullptr), FSMCORE_SEND_FAILED);
    EXPECT_EQ(fcntl(ends[0], F_GETFD), -1);
}

}  // namespace
