#include "libtavcore/core_request.h"

#include "libcbase/FSMCoreutil.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/SystemLogTest.h"

namespace {

using libtavcore::core_request;
using Texts = std::vector<std::string>;

constexpr const char* kSocket = "/tmp/vexa_variables/sockets/vexa_fsmcore.socket";
constexpr const char* kDone = "Response Status: FSMC-000\nParameter Count: 0\n\n";

class CoreRequest : public SystemLogTest {
  protected:
    CoreRequest() { core_.set_answer(kDone); }

    // The parameters that reached the core, read without the limits of a gateway.
    Texts sent_parameters() const {
        fsmcore_format::Request request;
        EXPECT_TRUE(parse_request(core_.last_request(), {16, 1024}, request));
        EXPECT_EQ(request.waittime, "5");
        function_ = request.function;
        return request.parameters;
    }

    ScriptedPeer core_{kSocket};
    mutable std::string function_;
};

TEST_F(CoreRequest, SendsItsParametersWithDefaultsInOrderAndRefusesMissingOnes) {
    core_request request(kSocket, "ANY");
    ASSERT_EQ(request.compose_runonelement("7", "ON", nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(lines_with("libtavcore->compose_runonelement error: ip parameter is NULL"), 1U);
    EXPECT_EQ(lines_with("libtavcore->compose_runonelement error: sessionID parameter is NULL"),
              1U);
    ASSERT_EQ(request.run(), 0);
    EXPECT_EQ(sent_parameters(),
              (Texts{"7", "ON", "NO-PAYLOAD", "NO-OPTIONALS", "NO-HASHCODE", "LIBTAVCORE"}));
    EXPECT_EQ(function_, "SERVICE_RUNONELEMENT");
    EXPECT_STREQ(request.get_last_error(), "");

    core_request whole(kSocket, "ANY");
    ASSERT_EQ(whole.compose_runonelement("10.0.0.1", "sid", "7", "ON", "p", "o", "h", "c"), 0);
    ASSERT_EQ(whole.run(), 0);
    EXPECT_EQ(sent_parameters(), (Texts{"10.0.0.1", "sid", "7", "ON", "p", "o", "h", "c"}));
    EXPECT_EQ(request.compose_runonelement(nullptr, "ON", "p", "o", "h", "c"), 12);
    EXPECT_TRUE(logged("libtavcore->compose_runonelement error: object ID parameter is NULL"));
    EXPECT_EQ(request.compose_runonelement("7", nullptr, "p", "o", "h", "c"), 12);
    EXPECT_TRUE(logged("libtavcore->compose_runonelement error: action parameter is NULL"));
}

TEST_F(CoreRequest, CutsLongValuesAfterTheir512thByte) {
    for (const std::size_t length : {510U, 511U, 512U, 513U}) {
        const std::string value(length, 'x');
        core_request request(kSocket, "FUNC");
        request.set_coreservicerequestparameter("first");
        request.set_coreservicerequestparameter(value.c_str());
        ASSERT_EQ(request.run(), 0);
        EXPECT_EQ(sent_parameters()[1], value.substr(0, 512));
        const std::string warning =
            "core_request::run warning requestparameters 1 will be truncated because exceed the "
            "core service format " +
            std::to_string(length) + " > 511";
        EXPECT_EQ(request.get_last_error(), length < 511 ? "" : warning);
    }
}

TEST_F(CoreRequest, KeepsTheAnswerOrItsFailure) {
    core_.set_answer(
        "Response Status: FSMC-000\nParameter Count: 2\nParam000 Length: 0\nParam001 Length: 2\n"
        "Param001:\non\n\n");
    core_request request("/TMP/VEXA_VARIABLES/SOCKETS/VEXA_FSMCORE.SOCKET", "FUNC");
    EXPECT_EQ(request.get_coreserviceresponsestatus(), -1);
    ASSERT_EQ(request.run(), 0);
    EXPECT_EQ(request.get_coreserviceresponsestatus(), 0);
    EXPECT_EQ(request.get_coreserviceresponseparametersnumber(), 2);
    EXPECT_STREQ(request.get_coreserviceresponseparameter(0), "NO-VALUE");
    EXPECT_STREQ(request.get_coreserviceresponseparameter(1), "on");
    EXPECT_EQ(request.get_coreserviceresponseparameter(2), nullptr);

    core_.set_answer("Response Status: FSMC-013\nParameter Count: 1\nParam000 Length: 0\n\n");
    EXPECT_EQ(request.run(), -1);
    EXPECT_STREQ(request.get_last_error(), "core_request::run error calling fsmcore_request <13>");
    EXPECT_EQ(request.get_coreserviceresponseparametersnumber(), 0);

    core_.set_answer(kDone);
    for (int i = 0; i < 2; ++i) {  // too large for one message together
        request.set_coreservicerequestparameter(std::string(510, 'x').c_str());
    }
    EXPECT_EQ(request.run(), -1);
    EXPECT_STREQ(request.get_last_error(), "core_request::run error calling fsmcore_request <7>");
    EXPECT_EQ(core_.requests().size(), 2U);
}

TEST_F(CoreRequest, EveryRunFailsAfterABadConstruction) {
    const std::string start = "core_request::core_request error ";
    const struct {
        const char *socket, *function;
        std::string problem;
    } cases[] = {
        {"/tmp/other.socket", "FUNC", "core service socket </tmp/other.socket> unsupported"},
        {nullptr, "FUNC", "core service socket <> unsupported"},
        {kSocket, nullptr, "function is NULL"}};
    for (const auto& c : cases) {
        core_request request(c.socket, c.function);
        const std::string problem = start + c.problem;
        EXPECT_TRUE(logged(problem));
        request.compose_runonelement("7", "ON", nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(request.run(), -1);
        EXPECT_EQ(request.run(), -1);
        EXPECT_EQ(request.get_last_error(), problem);
    }
    EXPECT_TRUE(core_.requests().empty());
}

TEST_F(CoreRequest, CountsAMissingValueAndSendsItEmpty) {
    core_request request(kSocket, "FUNC");
    request.set_coreservicerequestparameter(nullptr);
    EXPECT_EQ(request.run(), -1);
    EXPECT_STREQ(request.get_last_error(),
                 "core_request::run error requestparameters collection is EMPTY but <1> parameters "
                 "number expected");
    request.set_coreservicerequestparameter("second");
    ASSERT_EQ(request.run(), 0);
    EXPECT_EQ(sent_parameters(), (Texts{"", "second"}));
}

}  // namespace
