#include "libtavcore/core_request.h"

#include "libcbase/FSMCoreutil.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/SystemLogTest.h"

namespace {

using libtavcore::core_request;
using Texts = std::vector<std::string>;

constexpr const char* kSocket = "/tmp/vexa_variables/sockets/vexa_fsmcore.socket";

class CoreRequest : public SystemLogTest {
  protected:
    CoreRequest() { core_.set_answer("Response Status: FSMC-000\nParameter Count: 0\n\n"); }

    // The status of the answer and its parameters, or the last error.
    static std::string run(core_request& request) {
        const int result = request.run();
        const bool is_done = result == 0;
        EXPECT_TRUE(is_done || result == -1);
        const int count = request.get_coreserviceresponseparametersnumber();
        EXPECT_EQ(request.get_coreserviceresponsestatus(), is_done ? 0 : -1);
        EXPECT_EQ(request.get_coreserviceresponseparameter(count), nullptr);
        EXPECT_TRUE(is_done || count == 0);
        std::string text = is_done ? "done" : request.get_last_error();
        for (int i = 0; i < count; ++i) {
            text.append(" ").append(request.get_coreserviceresponseparameter(i));
        }
        return text;
    }
    // What reached the core, read without the limits of a gateway.
    Texts sent() const {
        fsmcore_format::Request request;
        EXPECT_TRUE(parse_request(core_.last_request(), {16, 1024}, request));
        EXPECT_EQ(request.waittime, "5");
        request.parameters.insert(request.parameters.begin(), request.function);
        return request.parameters;
    }
    std::size_t null_parameters(const std::string& name) {
        return lines_with("libtavcore->compose_runonelement error: " + name + " parameter is NULL");
    }

    ScriptedPeer core_{kSocket};
};

TEST_F(CoreRequest, SendsItsParametersWithDefaultsInOrderAndRefusesMissingOnes) {
    core_request request(kSocket, "ANY");
    ASSERT_EQ(request.compose_runonelement("7", "ON", nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(null_parameters("ip"), 1U);
    EXPECT_EQ(null_parameters("sessionID"), 1U);
    EXPECT_EQ(run(request), "done");
    EXPECT_EQ(sent(), (Texts{"SERVICE_RUNONELEMENT", "7", "ON", "NO-PAYLOAD", "NO-OPTIONALS",
                             "NO-HASHCODE", "LIBTAVCORE"}));
    EXPECT_STREQ(request.get_last_error(), "");

    core_request whole(kSocket, "ANY");
    ASSERT_EQ(whole.compose_runonelement("10.0.0.1", "sid", "7", "ON", "p", "o", "h", "c"), 0);
    EXPECT_EQ(run(whole), "done");
    EXPECT_EQ(sent(),
              (Texts{"SERVICE_RUNONELEMENT", "10.0.0.1", "sid", "7", "ON", "p", "o", "h", "c"}));
    EXPECT_EQ(request.compose_runonelement(nullptr, "ON", "p", "o", "h", "c"), 12);
    EXPECT_EQ(request.compose_runonelement("7", nullptr, "p", "o", "h", "c"), 12);
    EXPECT_EQ(null_parameters("object ID") + null_parameters("action"), 2U);
}

TEST_F(CoreRequest, CutsLongValuesAfterTheir512thByte) {
    for (const std::size_t length : {510U, 511U, 512U, 513U}) {
        const std::string value(length, 'x');
        core_request request(kSocket, "FUNC");
        request.set_coreservicerequestparameter("first");
        request.set_coreservicerequestparameter(value.c_str());
        EXPECT_EQ(run(request), "done");
        EXPECT_EQ(sent(), (Texts{"FUNC", "first", value.substr(0, 512)}));
        const std::string warning =
            "core_request::run warning requestparameters 1 will be truncated because exceed the "
            "core service format " +
            std::to_string(length) + " > 511";
        EXPECT_EQ(request.get_last_error(), length < 511 ? "" : warning);
    }
}

TEST_F(CoreRequest, KeepsTheAnswerOrItsFailure) {
    const std::string parameters =
        "Parameter Count: 2\nParam000 Length: 0\nParam001 Length: 2\nParam001:\non\n\n";
    core_.set_answer("Response Status: FSMC-000\n" + parameters);
    core_request request("/TMP/VEXA_VARIABLES/SOCKETS/VEXA_FSMCORE.SOCKET", "FUNC");
    EXPECT_EQ(request.get_coreserviceresponsestatus(), -1);
    EXPECT_EQ(run(request), "done NO-VALUE on");
    core_.set_answer("Response Status: FSMC-013\n" + parameters);
    EXPECT_EQ(run(request), "core_request::run error calling fsmcore_request <13>");

    core_request empty(kSocket, "FUNC");
    empty.set_coreservicerequestparameter(nullptr);
    EXPECT_EQ(run(empty),
              "core_request::run error requestparameters collection is EMPTY but <1> parameters "
              "number expected");
    core_.set_answer("Response Status: FSMC-000\nParameter Count: 0\n\n");
    empty.set_coreservicerequestparameter("second");
    EXPECT_EQ(run(empty), "done");
    EXPECT_EQ(sent(), (Texts{"FUNC", "", "second"}));
}

TEST_F(CoreRequest, EveryRunFailsAfterABadConstruction) {
    const struct {
        const char *socket, *function;
        std::string problem;
    } cases[] = {{"/tmp/other.socket", "F", "core service socket </tmp/other.socket> unsupported"},
                 {nullptr, "F", "core service socket <> unsupported"},
                 {kSocket, nullptr, "function is NULL"}};
    for (const auto& c : cases) {
        core_request request(c.socket, c.function);
        const std::string problem = "core_request::core_request error " + c.problem;
        EXPECT_TRUE(logged(problem));
        EXPECT_EQ(run(request), problem);
        request.compose_runonelement("7", "ON", nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(run(request), problem);
    }
    EXPECT_TRUE(core_.requests().empty());
}

}  // namespace
