#include "libcbase/FSMCoreutil.h"

#include <chrono>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>

#include "libcbase/memory.h"
#include "tests/support/ScriptedCore.h"
#include "tests/support/SystemLogTest.h"

namespace {

using namespace fsmcore_format;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

using Texts = std::vector<std::string>;

constexpr Limits kLimits{6, 511};

// The example of docs/formats/fsmcore.md.
const Request kExample{"SERVICE_RUNONELEMENT", {"7", "RUN", "", "80"}, "5"};
constexpr const char* kPlainExample =
    "Request: SERVICE_RUNONELEMENT\nParameter Count: 4\n"
    "Param000 Length: 1\nParam000:\n7\nParam001 Length: 3\nParam001:\nRUN\n"
    "Param002 Length: 0\nParam002:\n\nParam003 Length: 2\nParam003:\n80\nWaittime: 5\n\n";
constexpr const char* kManagedExample =
    "LengthRequestIs: 000000210\nRequest: SERVICE_RUNONELEMENT\nParameter Count: 004\n"
    "Param000 Length: 000001\nParam000:\n7\nParam001 Length: 000003\nParam001:\nRUN\n"
    "Param002 Length: 000000\nParam002:\n\nParam003 Length: 000002\nParam003:\n80\n"
    "Waittime: 5\n\n";
constexpr const char* kAnswerExample =
    "Response Status: FSMC-000\nParameter Count: 2\nParam000 Length: 0\nParam000:\n\n"
    "Param001 Length: 2\nParam001:\non\n\n";

std::string without_length_line(const std::string& text) {
    return text.substr(text.find('\n') + 1);
}

TEST(FsmcoreFormat, ComposesTheExampleAndReadsItBack) {
    EXPECT_EQ(compose_request(Form::plain, kExample), kPlainExample);
    EXPECT_EQ(compose_request(Form::length_managed, kExample), kManagedExample);
    EXPECT_EQ(parse_length_line("LengthRequestIs: 000000210", kRequestLengthTag),
              without_length_line(kManagedExample).size());
    EXPECT_EQ(compose_response({0, {"", "on"}}), kAnswerExample);

    Request request;
    ASSERT_TRUE(parse_request(kPlainExample, kLimits, request));
    EXPECT_EQ(request.parameters, kExample.parameters);
    EXPECT_EQ(request.waittime, "5");
    Response response;
    ASSERT_TRUE(parse_response(kAnswerExample, response));
    EXPECT_EQ(response.parameters, (Texts{"", "on"}));
}

TEST(FsmcoreFormat, ReadsEveryCombinationOfEmptyAndOtherValues) {
    for (unsigned bits = 0; bits < 64; ++bits) {
        Request request{"F", {}, "5"};
        for (unsigned i = 0; i < 6; ++i) {
            request.parameters.push_back((bits >> i) % 2 != 0 ? "v" + std::to_string(i) : "");
        }
        for (const Form form : {Form::plain, Form::length_managed}) {
            std::string text = compose_request(form, request).value();
            if (form == Form::length_managed) {
                text = without_length_line(text);
            }
            Request read;
            ASSERT_TRUE(parse_request(text, kLimits, read)) << text;
            EXPECT_EQ(read.parameters, request.parameters);
            // Other peers omit the label of an empty value.
            for (int i = 0; i < 6; ++i) {
                const std::string label = "Param00" + std::to_string(i) + ":\n\n";
                if (const std::size_t at = text.find(label); at != std::string::npos) {
                    text.erase(at, label.size());
                }
            }
            ASSERT_TRUE(parse_request(text, kLimits, read)) << text;
            EXPECT_EQ(read.parameters, request.parameters);
        }
        Response answer;
        ASSERT_TRUE(parse_response(*compose_response({7, request.parameters}), answer));
        EXPECT_EQ(answer.parameters, request.parameters);
    }
}

TEST(FsmcoreFormat, RefusesToComposeATextThatCouldNotBeReadBack) {
    for (const std::string& bad : {std::string("two\nlines"), std::string("a\0b", 3)}) {
        EXPECT_FALSE(compose_request(Form::plain, {bad, {}, "5"}));
        EXPECT_FALSE(compose_request(Form::plain, {"F", {"good", bad}, "5"}));
        EXPECT_FALSE(compose_request(Form::length_managed, {"F", {}, bad}));
        EXPECT_FALSE(compose_response({0, {bad}}));
    }
    EXPECT_FALSE(compose_response({-1, {}}));
    EXPECT_TRUE(compose_request(Form::plain, {"F", Texts(1000), "5"}));
    EXPECT_FALSE(compose_request(Form::plain, {"F", Texts(1001), "5"}));
}

// The tests of the gateway loop have more cases.
TEST(FsmcoreFormat, ReportsTheFaultOfARequest) {
    const std::string count = "Request: F\nParameter Count: ";
    const std::string head = count + "1\n";
    const std::string length = head + "Param000 Length: ";
    const std::string nul("\0\n", 2);
    const struct {
        std::string text;
        Fault fault;
        std::string offending;
        int parameter = 0;
    } cases[] = {
        {"", Fault::first_tag, ""},
        {"Request: F\n", Fault::count_tag, ""},
        {count + "2147483648\n", Fault::count_number, "2147483648"},
        {count + "1" + nul, Fault::count_number, "1" + nul.substr(0, 1)},
        {head, Fault::length_tag, ""},
        {head + "Param00 Length: 1\n", Fault::length_tag, "Param00 Length: 1"},
        {head + "Param00x Length: 1\n", Fault::length_tag, "Param00x Length: 1"},
        {length + "2\nParam000: ab\nab\n", Fault::value_tag, "Param000: ab"},
        {length + "2\nParam000:\n", Fault::value_mismatch, ""},
        {length + "2\nParam000:\nabc\n", Fault::value_mismatch, "abc"},
        {length + "2\nParam000:\na" + nul, Fault::value_mismatch, "a" + nul.substr(0, 1)},
        {count + "0\nWaittime: \n", Fault::waittime_number, ""},
        {count + "0\nWaittime: 5s\n", Fault::waittime_number, "5s"},
        {count + "0\nWaittime: -2147483649\n", Fault::waittime_number, "-2147483649"},
        {count + "-1\n", Fault::count_number, "-1"},
        {length + "-1\n", Fault::length_number, "-1"},
        {count + "2\nParam000 Length: 0\nParam001 Length: x\n", Fault::length_number, "x", 1},
    };
    Request request;
    for (const auto& bad : cases) {
        const ParseResult result = parse_request(bad.text, kLimits, request);
        EXPECT_EQ(result.fault, bad.fault) << bad.text;
        EXPECT_EQ(result.parameter, bad.parameter) << bad.text;
        EXPECT_EQ(result.offending, bad.offending) << bad.text;
    }
    // The digits of a label do not matter, and the longest value fits.
    const std::string longest(511, 'x');
    EXPECT_TRUE(parse_request(
        head + "Param042 Length: 511\nParam777:\n" + longest + "\nWaittime: 5", kLimits, request));
    EXPECT_EQ(request.parameters, Texts{longest});
    for (const char* waittime : {"-1", "-2147483648", "0", "2147483647"}) {
        EXPECT_TRUE(parse_request(count + "0\nWaittime: " + waittime + "\n\n", kLimits, request));
        EXPECT_EQ(request.waittime, waittime);
    }
}

// Client calls to a scripted core.
class FsmcoreCall : public SystemLogTest {
  protected:
    static constexpr const char* kPath = "/tmp/vexa_variables/sockets/call_test.socket";

    int send_request(const std::vector<const char*>& params = {}, const char* waittime = "5",
                     bool is_length_managed = false) {
        int count = 0;
        char** values = nullptr;
        const Clock::time_point start = Clock::now();
        const int result = (is_length_managed ? fsmcore_request_lengthmgm : fsmcore_request)(
            kPath, "FUNC", static_cast<int>(params.size()), params.data(), &count, &values,
            waittime);
        taken_ = Clock::now() - start;
        answer_.clear();
        for (int i = 0; i < count; ++i) {
            const xstring value(values[i]);
            answer_.emplace_back(value ? value.get() : "(null)");
        }
        xfree(values);
        return result;
    }
    int send_request_lengthmgm(const char* waittime = "5") {
        return send_request({"7", "RUN"}, waittime, true);
    }

    Texts answer_;
    Clock::duration taken_{};
};

TEST_F(FsmcoreCall, ReturnsStatusAndParameters) {
    ScriptedCore core(kPath);
    core.set_answer(kAnswerExample);
    EXPECT_EQ(send_request({"7", "", "RUN"}), 0);
    EXPECT_EQ(core.last_request(),
              compose_request(Form::plain, {"FUNC", {"7", "", "RUN"}, "5"}).value());
    EXPECT_EQ(answer_, (Texts{"(null)", "on"}));
    // With the terminator of a C string after it.
    core.set_answer(std::string("response status: FSMC-042\nPARAMETER COUNT: 0\n\n\0x", 48));
    EXPECT_EQ(send_request(), 42);
    EXPECT_TRUE(answer_.empty());
    EXPECT_EQ(fsmcore_request(kPath, "FUNC", 0, nullptr, nullptr, nullptr, nullptr), 42);
}

TEST_F(FsmcoreCall, RefusesAMalformedAnswer) {
    const std::string status = "Response Status: FSMC-";
    const std::string count = status + "000\nParameter Count: ";
    const std::string head = count + "1\nParam000 ";
    const std::string ends = " for function 'FUNC'";
    const std::string ill = ", not a well formed response from FSMCore" + ends;
    const auto no_tag = [](const std::string& tag) {
        return "strtok parsing '" + tag + "' response tag failed";
    };
    const std::string no_number = "error strtol with error 'Invalid argument'" + ends;
    const std::pair<std::string, std::string> cases[] = {
        {"", no_tag("Response Status: ") + ends},
        {"\x80\xff rubbish", no_tag("Response Status: ")},
        {"Response Status: fsmc-000\nParameter Count: 0\n",
         "error: FSMCore response not in the FSMC-NNN format" + ends},
        {status + "0x0\n", no_number},
        {status + "-1\n", no_number},
        {status + "3000000000\n", "error strtol with error 'Numerical result out of range'" + ends},
        {status + "000\n", no_tag("Parameter Count: ") + ends},
        {count + "1x\n",
         "number of parameters after 'Parameter Count: ' response statement is not a valid number" +
             ends},
        {count + "2147483647\n", no_tag("ParamNNN Length: ") + ill},
        {head + "Length: -2\n",
         "parameter length after 'ParamNNN Length: ' response statement is not a valid number" +
             ill},
        {head + "Length: 3\nParam000:\nab\n", no_tag("ParamNNN: ") + ill},
        {head + "Length: 2\nab\n", no_tag("ParamNNN: ") + ill},
        {head + "Length: 1\nParam000:\nx\nmore\n", no_tag("\\n") + ill},
    };
    ScriptedCore core(kPath);
    for (const auto& [answer, message] : cases) {
        log_.clear();
        core.set_answer(answer);
        EXPECT_EQ(send_request(), FSMCORE_RECEIVE_FAILED) << answer;
        EXPECT_TRUE(logged("FSMCoreutil->fsmcore_request " + message)) << answer;
        EXPECT_TRUE(answer_.empty()) << "parameters before the fault are not returned";
    }
}

TEST_F(FsmcoreCall, SendsNoRequestThatDoesNotFit) {
    ScriptedCore core(kPath);
    core.set_answer("Response Status: FSMC-000\nParameter Count: 0\n\n");
    const std::size_t rest = compose_request(Form::plain, {"FUNC", {""}, "5"})->size() + 2;
    const std::string fits(kBufferBytes - rest, 'x');  // 2 more digits in its length
    EXPECT_EQ(send_request({fits.c_str()}), 0);
    EXPECT_EQ(core.last_request().size(), kBufferBytes);
    EXPECT_EQ(send_request({(fits + "x").c_str()}), FSMCORE_SEND_FAILED);
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_request send writing request failed with error "
               "'Message too long' for function 'FUNC'"));
    EXPECT_EQ(send_request({"two\nlines"}), FSMCORE_SEND_FAILED);
    EXPECT_TRUE(logged("failed with error 'Invalid argument' for function 'FUNC'"));
    for (const int count : {-1, 1}) {  // with null parameters
        EXPECT_EQ(fsmcore_request(kPath, "FUNC", count, nullptr, nullptr, nullptr, nullptr),
                  FSMCORE_SEND_FAILED);
    }
    EXPECT_EQ(core.requests().size(), 1U);
}

TEST_F(FsmcoreCall, TimesOutWithinTheWaitTime) {
    EXPECT_EQ(send_request(), FSMCORE_CONNECT_FAILED);
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_request error opening socket FSMCore clientside for "
               "function 'FUNC'"));
    EXPECT_EQ(lines_with("make_localtcpclient_socket connect failed"), 5U);
    {
        // No connection is accepted, and the queue is full after the first.
        const FileDescriptor listener(make_local_socket(kPath, 0));
        const FileDescriptor first(make_localtcpclient_socket(kPath));
        EXPECT_EQ(send_request({}, "1"), FSMCORE_CONNECT_FAILED);
        EXPECT_LT(taken_, seconds(3));
    }
    ScriptedCore core(kPath);
    core.stay_silent();
    EXPECT_EQ(send_request({}, "1"), FSMCORE_RECEIVE_FAILED);
    EXPECT_LT(taken_, seconds(3));
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_request recv reading response failed with error "
               "'Connection timed out' for function 'FUNC'"));
    core.on_request([](auto& peer) { peer.reset(); });
    EXPECT_EQ(send_request(), FSMCORE_RECEIVE_FAILED);
}

TEST_F(FsmcoreCall, ReadsALengthManagedAnswerWhereverItIsSplit) {
    const std::string answer =
        "lengthresponseis: " + std::to_string(std::strlen(kAnswerExample)) + "\n" + kAnswerExample;
    ScriptedCore core(kPath);
    for (std::size_t cut = 1; cut < answer.size(); ++cut) {
        core.on_request([&](auto& peer) {
            peer.write(answer.substr(0, cut));
            std::this_thread::sleep_for(milliseconds(1));
            peer.write(answer.substr(cut) + "ignored");
        });
        ASSERT_EQ(send_request_lengthmgm(), 0) << cut;
        EXPECT_EQ(answer_, (Texts{"(null)", "on"}));
    }
    EXPECT_EQ(core.last_request(),
              compose_request(Form::length_managed, {"FUNC", {"7", "RUN"}, "5"}).value());
}

TEST_F(FsmcoreCall, RefusesAMalformedLengthManagedAnswer) {
    const std::string name = "FSMCoreutil->fsmcore_request_lengthmgm ";
    const std::string number =
        name +
        "length of request after 'LengthResponseIs: ' response statement is not a valid number ";
    const std::string receive = name + "recv reading request failed with error ";
    const std::string next = ", continuing for the next request";
    const std::pair<std::string, std::string> cases[] = {
        {std::string(100, 'x'),
         name + "strtok parsing 'LengthResponseIs: ' response tag failed for function 'FUNC'"},
        {"LengthResponseIs: 12x\n", number + "'12x'" + next},
        {"LengthResponseIs: -5\n", number + "'-5'"},
        {"LengthResponseIs: 262145\n", number + "'262145'"},
        {"LengthRes", receive + "'connection closed by the peer'" + next},
        {"LengthResponseIs: 50\nResponse", receive + "'connection closed by the peer'" + next},
        {"LengthResponseIs: 8\nResponse", name + "strtok parsing 'Response Status: ' response"},
    };
    ScriptedCore core(kPath);
    for (const auto& [answer, message] : cases) {
        log_.clear();
        core.set_answer(answer);
        EXPECT_EQ(send_request_lengthmgm(), FSMCORE_RECEIVE_FAILED) << answer;
        EXPECT_TRUE(logged(message)) << message;
    }
    core.on_request([](auto& peer) { peer.write_slowly(std::string(60, 'L'), milliseconds(100)); });
    EXPECT_EQ(send_request_lengthmgm("1"), FSMCORE_RECEIVE_FAILED);
    EXPECT_LT(taken_, seconds(3)) << "a byte at a time must not extend the wait time";
    EXPECT_TRUE(logged(receive + "'Connection timed out'"));
}

TEST_F(FsmcoreCall, AnswersWithoutWaitingAndClosesTheSocketWhenItCannot) {
    for (const bool reads : {true, false}) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        const FileDescriptor peer(ends[1]);
        if (reads) {
            const char* const values[] = {"", "on"};
            ASSERT_EQ(fsmcore_response(ends[0], 7, 0, nullptr), FSMCORE_OK);
            ASSERT_EQ(fsmcore_response(ends[0], 0, 2, values), FSMCORE_OK);
            char text[256] = "";
            EXPECT_GT(recv(peer.get(), text, sizeof(text) - 1, 0), 0);
            EXPECT_EQ(text, "Response Status: FSMC-007\nParameter Count: 0\n\n" +
                                std::string(kAnswerExample));
        }
        const std::string large(kBufferBytes, 'x');
        while (!reads && send(ends[0], large.data(), large.size(), MSG_DONTWAIT) > 0) {
        }
        const char* const values[] = {large.c_str()};
        EXPECT_EQ(fsmcore_response(ends[0], 0, reads ? 1 : 0, values), FSMCORE_SEND_FAILED);
        EXPECT_EQ(fcntl(ends[0], F_GETFD), -1);
    }
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_response send writing response failed with error "
               "'Message too long'"));
}

}  // namespace
