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
    EXPECT_EQ(compose_response({42, {}}), "Response Status: FSMC-042\nParameter Count: 0\n\n");

    Request request;
    ASSERT_TRUE(parse_request(kPlainExample, kLimits, request));
    EXPECT_EQ(request.parameters, kExample.parameters);
    EXPECT_EQ(request.waittime, "5");
    Response response;
    ASSERT_TRUE(parse_response(kAnswerExample, response));
    EXPECT_EQ(response.parameters, (std::vector<std::string>{"", "on"}));
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
            // Other peers leave the label of an empty value out.
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

TEST(FsmcoreFormat, RefusesToComposeWhatCouldNotBeReadBack) {
    for (const std::string& bad : {std::string("two\nlines"), std::string("a\0b", 3)}) {
        EXPECT_FALSE(compose_request(Form::plain, {bad, {}, "5"}));
        EXPECT_FALSE(compose_request(Form::plain, {"F", {"good", bad}, "5"}));
        EXPECT_FALSE(compose_request(Form::length_managed, {"F", {}, bad}));
        EXPECT_FALSE(compose_response({0, {bad}}));
    }
    EXPECT_FALSE(compose_response({-1, {}}));
    EXPECT_TRUE(compose_request(Form::plain, {"F", std::vector<std::string>(1000), "5"}));
    EXPECT_FALSE(compose_request(Form::plain, {"F", std::vector<std::string>(1001), "5"}));
}

struct BadMessage {
    std::string text;
    Fault fault;
    int parameter;
    std::string offending;
};

TEST(FsmcoreFormat, NamesTheFaultOfARequest) {
    const std::string head = "Request: F\nParameter Count: 1\n";
    const BadMessage cases[] = {
        {"", Fault::first_tag, 0, ""},
        {"request: F\n", Fault::first_tag, 0, "request: F"},
        {"Request: F\n", Fault::count_tag, 0, ""},
        {"Request: F\nparameter count: 0\n", Fault::count_tag, 0, "parameter count: 0"},
        {"Request: F\nParameter Count: -1\n", Fault::count_number, 0, "-1"},
        {"Request: F\nParameter Count: 7\n", Fault::count_number, 0, "7"},
        {"Request: F\nParameter Count: 2147483648\n", Fault::count_number, 0, "2147483648"},
        {"Request: F\nParameter Count: \n", Fault::count_number, 0, ""},
        {std::string("Request: F\nParameter Count: 1\0\n", 30), Fault::count_number, 0,
         std::string("1\0", 2)},
        {head, Fault::length_tag, 0, ""},
        {head + "Param00 Length: 1\n", Fault::length_tag, 0, "Param00 Length: 1"},
        {head + "Param00x Length: 1\n", Fault::length_tag, 0, "Param00x Length: 1"},
        {head + "Param000 Length: 1x\n", Fault::length_number, 0, "1x"},
        {head + "Param000 Length: 512\n", Fault::length_number, 0, "512"},
        {head + "Param000 Length: -3\n", Fault::length_number, 0, "-3"},
        {head + "Param000 Length: 2\nab\n", Fault::value_tag, 0, "ab"},
        {head + "Param000 Length: 2\nParam000: ab\nab\n", Fault::value_tag, 0, "Param000: ab"},
        {head + "Param000 Length: 2\nParam000:\n", Fault::value_mismatch, 0, ""},
        {head + "Param000 Length: 2\nParam000:\na\n", Fault::value_mismatch, 0, "a"},
        {head + "Param000 Length: 2\nParam000:\nabc\n", Fault::value_mismatch, 0, "abc"},
        {head + std::string("Param000 Length: 2\nParam000:\na\0\n", 32), Fault::value_mismatch, 0,
         std::string("a\0", 2)},
        {"Request: F\nParameter Count: 2\nParam000 Length: 0\nParam001 Length: x\n",
         Fault::length_number, 1, "x"},
        {"Request: F\nParameter Count: 0\n\n", Fault::waittime_tag, 0, ""},
        {"Request: F\nParameter Count: 0\nWaittime: 5s\n", Fault::waittime_number, 0, "5s"},
        {"Request: F\nParameter Count: 0\nWaittime: 5\n\nmore", Fault::trailing, 0, "more"},
    };
    for (const BadMessage& bad : cases) {
        Request request;
        const ParseResult result = parse_request(bad.text, kLimits, request);
        EXPECT_EQ(result.fault, bad.fault) << bad.text;
        EXPECT_EQ(result.parameter, bad.parameter) << bad.text;
        EXPECT_EQ(result.offending, bad.offending) << bad.text;
    }
}

TEST(FsmcoreFormat, TakesLabelsWithOtherDigitsAndValuesUpToTheLimit) {
    const std::string longest(511, 'x');
    Request request;
    EXPECT_TRUE(parse_request("Request: F\nParameter Count: 1\nParam042 Length: 511\nParam7" +
                                  std::string("77:\n") + longest + "\nWaittime: 5",
                              kLimits, request));
    EXPECT_EQ(request.parameters, std::vector<std::string>{longest});
}

TEST(FsmcoreFormat, TakesALengthLineOnlyWithItsTagAndANumber) {
    EXPECT_EQ(parse_length_line("LengthRequestIs: 0012", kRequestLengthTag), 12);
    EXPECT_EQ(parse_length_line("LENGTHRESPONSEIS: 7", kResponseLengthTag, Letters::any_case), 7);
    for (const char* line :
         {"", "LengthRequestIs:", "LengthRequestIs: ", "LengthRequestIs: 1 ", "LengthRequestIs: -1",
          "LengthRequestIs: 99999999999", "lengthrequestis: 12", "12"}) {
        EXPECT_FALSE(parse_length_line(line, kRequestLengthTag)) << line;
    }
}

// A client call against a core of the test's making.
class FsmcoreCall : public SystemLogTest {
  protected:
    static constexpr const char* kPath = "/tmp/vexa_variables/sockets/call_test.socket";

    ~FsmcoreCall() override { forget_answer(); }

    int asks(const std::vector<const char*>& params = {}, const char* waittime = "5") {
        return asks_by(fsmcore_request, params, waittime);
    }
    int asks_lengthmgm(const char* waittime = "5") {
        return asks_by(fsmcore_request_lengthmgm, {"7", "", "RUN"}, waittime);
    }
    void forget_answer() {
        for (int i = 0; i < count_; ++i) {
            xfree(values_[i]);
        }
        xfree(values_);
    }

    int count_ = 0;
    char** values_ = nullptr;
    Clock::duration taken_{};

  private:
    template <typename Call>
    int asks_by(Call call, const std::vector<const char*>& params, const char* waittime) {
        forget_answer();
        const Clock::time_point start = Clock::now();
        const int result = call(kPath, "FUNC", static_cast<int>(params.size()), params.data(),
                                &count_, &values_, waittime);
        taken_ = Clock::now() - start;
        return result;
    }
};

TEST_F(FsmcoreCall, HandsOverStatusAndParameters) {
    ScriptedCore core(kPath);
    core.answers(kAnswerExample);
    EXPECT_EQ(asks({"7", "", "RUN"}), 0);
    EXPECT_EQ(core.last_request(),
              compose_request(Form::plain, {"FUNC", {"7", "", "RUN"}, "5"}).value());
    ASSERT_EQ(count_, 2);
    EXPECT_EQ(values_[0], nullptr);
    EXPECT_STREQ(values_[1], "on");

    // With the terminator of a C string behind it.
    core.answers(std::string("response status: FSMC-042\nPARAMETER COUNT: 0\n\n\0x", 49));
    EXPECT_EQ(asks(), 42);
    EXPECT_EQ(count_, 0);
    EXPECT_EQ(fsmcore_request(kPath, "FUNC", 0, nullptr, nullptr, nullptr, nullptr), 42);
}

TEST_F(FsmcoreCall, RefusesAnAnswerThatIsNotOne) {
    const std::string status = "Response Status: FSMC-000\n";
    const std::string head = status + "Parameter Count: 1\n";
    const std::pair<std::string, std::string> cases[] = {
        {"", "strtok parsing 'Response Status: ' response tag failed for function 'FUNC'"},
        {"\x80\xff rubbish", "strtok parsing 'Response Status: ' response tag failed"},
        {"Response Status: fsmc-000\nParameter Count: 0\n",
         "error: FSMCore response not in the FSMC-NNN format for function 'FUNC'"},
        {"Response Status: FSMC-0x0\n", "error strtol with error 'Invalid argument' for function"},
        {"Response Status: FSMC--1\n", "error strtol with error 'Invalid argument' for function"},
        {"Response Status: FSMC-3000000000\n",
         "error strtol with error 'Numerical result out of range' for function 'FUNC'"},
        {status, "strtok parsing 'Parameter Count: ' response tag failed for function 'FUNC'"},
        {status + "Parameter Count: 1x\n",
         "number of parameters after 'Parameter Count: ' response statement is not a valid number "
         "for function 'FUNC'"},
        {status + "Parameter Count: 2147483647\n",
         "strtok parsing 'ParamNNN Length: ' response tag "
         "failed, not a well formed response from FSMCore for function 'FUNC'"},
        {head + "Param000 Length: -2\n",
         "parameter length after 'ParamNNN Length: ' response statement is not a valid number, not "
         "a well formed response from FSMCore for function 'FUNC'"},
        {head + "Param000 Length: 3\nParam000:\nab\n",
         "strtok parsing 'ParamNNN: ' response tag failed, not a well formed response from FSMCore "
         "for function 'FUNC'"},
        {head + "Param000 Length: 2\nab\n", "strtok parsing 'ParamNNN: ' response tag failed"},
        {head + "Param000 Length: 1\nParam000:\nx\nmore\n",
         "strtok parsing '\\n' response tag failed, not a well formed response from FSMCore for "
         "function 'FUNC'"},
    };
    ScriptedCore core(kPath);
    for (const auto& [answer, message] : cases) {
        log_.clear();
        core.answers(answer);
        EXPECT_EQ(asks(), FSMCORE_RECEIVE_FAILED) << answer;
        EXPECT_TRUE(logged("FSMCoreutil->fsmcore_request " + message)) << answer;
        EXPECT_EQ(count_, 0) << "what was read before the fault is not handed over";
    }
}

TEST_F(FsmcoreCall, SendsNothingThatDoesNotFit) {
    ScriptedCore core(kPath);
    core.answers("Response Status: FSMC-000\nParameter Count: 0\n\n");
    const std::size_t rest = compose_request(Form::plain, {"FUNC", {""}, "5"})->size() + 2;
    const std::string fits(kBufferBytes - rest, 'x');  // 2 more digits in its length
    EXPECT_EQ(asks({fits.c_str()}), 0);
    EXPECT_EQ(core.last_request().size(), kBufferBytes);
    EXPECT_EQ(asks({(fits + "x").c_str()}), FSMCORE_SEND_FAILED);
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_request send writing request failed with error "
               "'Message too long' for function 'FUNC'"));
    EXPECT_EQ(asks({"two\nlines"}), FSMCORE_SEND_FAILED);
    EXPECT_TRUE(logged("failed with error 'Invalid argument' for function 'FUNC'"));
    EXPECT_EQ(core.requests().size(), 1U);
}

TEST_F(FsmcoreCall, GivesUpWithinTheWaitTime) {
    EXPECT_EQ(asks(), FSMCORE_CONNECT_FAILED);
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_request error opening socket FSMCore clientside for "
               "function 'FUNC'"));
    EXPECT_EQ(lines_with("make_localtcpclient_socket connect failed"), 5U);
    {
        // Nobody accepts, and the queue is full after the first.
        const FileDescriptor listener(make_local_socket(kPath, 0));
        const FileDescriptor first(make_localtcpclient_socket(kPath));
        EXPECT_EQ(asks({}, "1"), FSMCORE_CONNECT_FAILED);
        EXPECT_LT(taken_, seconds(3));
    }
    ScriptedCore core(kPath);
    core.stays_silent();
    EXPECT_EQ(asks({}, "1"), FSMCORE_RECEIVE_FAILED);
    EXPECT_LT(taken_, seconds(3));
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_request recv reading response failed with error "
               "'Connection timed out' for function 'FUNC'"));
    core.does([](auto& peer) { peer.reset(); });
    EXPECT_EQ(asks(), FSMCORE_RECEIVE_FAILED);
}

TEST_F(FsmcoreCall, TakesALengthManagedAnswerCutAnywhere) {
    const std::string answer =
        "lengthresponseis: " + std::to_string(std::strlen(kAnswerExample)) + "\n" + kAnswerExample;
    ScriptedCore core(kPath);
    for (std::size_t cut = 1; cut < answer.size(); ++cut) {
        core.does([&](auto& peer) {
            peer.write(answer.substr(0, cut));
            std::this_thread::sleep_for(milliseconds(1));
            peer.write(answer.substr(cut) + "ignored");
        });
        ASSERT_EQ(asks_lengthmgm(), 0) << cut;
        ASSERT_EQ(count_, 2);
        EXPECT_STREQ(values_[1], "on");
    }
    EXPECT_EQ(core.last_request(),
              compose_request(Form::length_managed, {"FUNC", {"7", "", "RUN"}, "5"}).value());
}

TEST_F(FsmcoreCall, RefusesALengthManagedAnswerThatIsNotOne) {
    const std::string name = "FSMCoreutil->fsmcore_request_lengthmgm ";
    const std::string tag = name +
                            "strtok parsing 'LengthResponseIs: ' response tag failed for function "
                            "'FUNC'";
    const std::string number = name +
                               "length of request after 'LengthResponseIs: ' response statement is "
                               "not a valid number ";
    const std::string receive = name + "recv reading request failed with error ";
    const std::pair<std::string, std::string> cases[] = {
        {kAnswerExample, tag},
        {std::string(100, 'x'), tag},
        {"LengthResponseIs: 12x\n", number + "'12x', continuing for the next request"},
        {"LengthResponseIs: -5\n", number + "'-5'"},
        {"LengthResponseIs: 262145\n", number + "'262145'"},
        {"LengthResponseIs: 50\nResponse", receive + "'connection closed by the peer', continuing "
                                                     "for the next request"},
        {"LengthRes", receive + "'connection closed by the peer'"},
        {"LengthResponseIs: 8\nResponse", name + "strtok parsing 'Response Status: ' response"},
    };
    ScriptedCore core(kPath);
    for (const auto& [answer, message] : cases) {
        core.answers(answer);
        EXPECT_EQ(asks_lengthmgm(), FSMCORE_RECEIVE_FAILED) << answer;
        EXPECT_TRUE(logged(message)) << message;
    }
    core.does([](auto& peer) { peer.write_slowly(std::string(60, 'L'), milliseconds(100)); });
    EXPECT_EQ(asks_lengthmgm("1"), FSMCORE_RECEIVE_FAILED);
    EXPECT_LT(taken_, seconds(3)) << "a byte at a time must not outrun the wait time";
    EXPECT_TRUE(logged(receive + "'Connection timed out'"));
}

class FsmcoreResponse : public SystemLogTest {
  protected:
    FsmcoreResponse() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0);
        peer_.reset(ends_[1]);
    }
    bool is_open() const { return fcntl(ends_[0], F_GETFD) != -1; }

    int ends_[2];
    FileDescriptor peer_;
};

TEST_F(FsmcoreResponse, WritesThePlainFormAndLeavesTheSocketOpen) {
    const char* const values[] = {"", "on"};
    ASSERT_EQ(fsmcore_response(ends_[0], 7, 0, nullptr), FSMCORE_OK);
    ASSERT_EQ(fsmcore_response(ends_[0], 0, 2, values), FSMCORE_OK);
    char text[256] = "";
    EXPECT_GT(recv(peer_.get(), text, sizeof(text) - 1, 0), 0);
    EXPECT_EQ(text,
              "Response Status: FSMC-007\nParameter Count: 0\n\n" + std::string(kAnswerExample));
    EXPECT_TRUE(is_open());
    const FileDescriptor closed_here(ends_[0]);
}

TEST_F(FsmcoreResponse, ClosesTheSocketWhenTheAnswerDoesNotFit) {
    const std::string large(kBufferBytes, 'x');
    const char* const values[] = {large.c_str()};
    EXPECT_EQ(fsmcore_response(ends_[0], 0, 1, values), FSMCORE_SEND_FAILED);
    EXPECT_FALSE(is_open());
    EXPECT_TRUE(
        logged("FSMCoreutil->fsmcore_response send writing response failed with error "
               "'Message too long'"));
}

TEST_F(FsmcoreResponse, DoesNotWaitForAPeerThatDoesNotRead) {
    const std::string block(4096, 'x');
    while (send(ends_[0], block.data(), block.size(), MSG_DONTWAIT) > 0) {
    }
    EXPECT_EQ(fsmcore_response(ends_[0], 0, 0, nullptr), FSMCORE_SEND_FAILED);
    EXPECT_FALSE(is_open());
}

}  // namespace
