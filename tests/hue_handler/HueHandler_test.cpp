// Set-up of the light table, the core's calls and the request worker.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/hue_handler/HandlerTest.h"

namespace {

using hue_handler::FairMutex;
using testing::ElementsAre;
using testing::IsEmpty;

class HueHandlerTest : public HandlerTest {
  protected:
    // No polls: what is stored is what the worker stored.
    HueHandlerTest() { timings_.poll_period_ms = 600000; }
};

TEST_F(HueHandlerTest, EachRoleDrivesItsPropertyOfItsLight) {
    start();
    const struct {
        long object;
        const char* payload;
        const char* body;
    } commands[] = {
        {141, "0", R"({"on":false})"},
        {141, "1", R"({"on":true})"},
        {142, "1", R"({"bri":2})"},
        {142, "100", R"({"bri":254})"},
        {143, "0", R"({"ct":153})"},
        {143, "100", R"({"ct":500})"},
        {147, "#FF8000", R"({"bri":0,"hue":65535,"sat":128})"},
        {112, "50", R"({"bri":127,"on":true})"},
        {142, "-5", R"({"bri":254})"},
        {143, "-1", R"({"ct":153})"},
        {143, "-100", R"({"ct":500})"},
        {142, "0", R"({"on":false})"},
    };
    for (const auto& command : commands) {
        EXPECT_THAT(run_and_wait(command.object, command.payload), ElementsAre(command.body))
            << command.object << " " << command.payload;
    }
    EXPECT_EQ(log_.count("Request manager thread error"), 0U);
}

TEST_F(HueHandlerTest, AChannelIsSentWithTheStoredOtherTwo) {
    start();  // 200, 174, 90
    EXPECT_THAT(run_and_wait(144, "0"), ElementsAre(R"({"bri":255,"hue":27242,"sat":255})"));
    // Only the lowest byte counts: 0 of a colour word, 255 of 0x1FF.
    EXPECT_THAT(run_and_wait(146, "#FF8000"), ElementsAre(R"({"bri":255,"hue":21845,"sat":255})"));
    EXPECT_THAT(run_and_wait(145, "511"), ElementsAre(R"({"bri":255,"hue":21845,"sat":255})"));
    EXPECT_THAT(run_and_wait(144, "100"), ElementsAre(R"({"bri":255,"hue":17476,"sat":255})"));
}

TEST_F(HueHandlerTest, ALightIgnoresRolesThatItCannotDo) {
    database_.rows(
        "INSERT INTO vexad_object_relation VALUES (110, 113, 'tag_complex_element=temperature')");
    start();
    EXPECT_THAT(run_and_wait(113, "50"), IsEmpty());  // white only
    EXPECT_THAT(run_and_wait(149, "1"), IsEmpty());   // a preset, which the table leaves out
    EXPECT_THAT(run_and_wait(0, "1"), IsEmpty());     // "no object", as in the roles of light 1
    EXPECT_THAT(run_and_wait(-1, "1"), IsEmpty());
    EXPECT_THAT(run_and_wait(141, "1"), IsEmpty());  // stored as on already
    EXPECT_THAT(run_and_wait(141, "5"), IsEmpty());
    EXPECT_EQ(log_.count("Request manager thread error"), 0U);
}

TEST_F(HueHandlerTest, OnlyWholeNumbersOfRunCallsAreQueued) {
    start();
    run(141, "0", "SETVALUE");
    EXPECT_TRUE(logged("Discard received request since it is not a RUN"));
    run(141, "NO-PAYLOAD");
    for (const char* payload : {"", "#12345", "12abc", "99999999999"}) {
        log_.clear();
        run(141, payload);
        EXPECT_TRUE(logged("Invalid RUN parameters: ")) << payload;
    }
    run(141, "1\nforged line");
    EXPECT_TRUE(logged("Invalid RUN parameters: not a number '1\\x0aforged line'"));
    if (sizeof(long) > 4) {
        log_.clear();
        run(static_cast<long>(1LL << 32 | 141), "0");
        EXPECT_TRUE(logged("Invalid RUN parameters: "));
    }
    run_and_wait(999, "0");
    EXPECT_TRUE(bridge_.light(4).is_on());
}

TEST_F(HueHandlerTest, BadRowsAreLoggedAndTheOthersUsed) {
    database_.rows("UPDATE vexad_object SET msp = 'three' WHERE id = 130");
    database_.rows("DELETE FROM vexad_object_relation WHERE childobj_id = 141");
    start();
    EXPECT_EQ(log_.count("Incomplete or malformed db information: MSP='three', CHILDOBJ_ID='131'"),
              1U);
    run_and_wait(111, "1");
    EXPECT_TRUE(bridge_.light(1).is_on());
    EXPECT_THAT(run_and_wait(142, "80"), IsEmpty()) << "a light without an on_off object";
}

TEST_F(HueHandlerTest, ACommandWaitsForOneLightOfTheInitialReadAtMost) {
    ASSERT_EQ(init(), 0);
    ASSERT_TRUE(eventually([this] { return bridge_.count("GET", "/lights/2") > 0; }));
    run(111, "1");
    ASSERT_TRUE(eventually([this] { return bridge_.count("PUT", "/lights/1/state") > 0; }));
    EXPECT_EQ(bridge_.count("GET", "/lights/4"), 0);
    EXPECT_EQ(log_.count("end of initial state updates"), 0U);
}

TEST_F(HueHandlerTest, AMillionCommandsAreQueuedAndFurtherOnesDropped) {
    start();
    bridge_.inject_fault("stall");
    run(141, "0");
    ASSERT_TRUE(logged("-- Received request: obj_id 141"));
    callfromcoreparametersnamespace::CallFromCoreParameters call(111, "RUN", "1", "", "", "");
    for (int i = 0; i < 1000000; ++i) {
        handler_->didReceiveCallFromCore(nullptr, &call);
    }
    EXPECT_TRUE(never_logged("Request dropped"));
    run(112, "7");
    EXPECT_TRUE(logged("Request dropped, too many requests are waiting: obj_id 112, value 7"));
    handler_->willTerminate(nullptr, nullptr);
    bridge_.recover();
    EXPECT_TRUE(logged("1000000 requests dropped, the request manager thread has ended"));
}

TEST_F(HueHandlerTest, AcceptedCommandsThatTheEndCutsOffAreLogged) {
    start();
    bridge_.inject_fault("stall");
    run(141, "0");
    ASSERT_TRUE(logged("-- Received request: obj_id 141"));
    run(111, "1");
    EXPECT_EQ(handler_->willTerminate(nullptr, nullptr), 0);
    EXPECT_FALSE(handler_->is_monitoring());
    EXPECT_TRUE(logged("lumivad will terminate soon"));
    run(112, "1");
    EXPECT_TRUE(logged("Request dropped, lumivad will terminate soon: obj_id 112, value 1"));
    bridge_.recover();
    EXPECT_TRUE(logged("Exit from execute_request thread:"));
    EXPECT_TRUE(logged("Exit from state_monitor thread:"));
    EXPECT_TRUE(logged("1 requests dropped, the request manager thread has ended"));
}

TEST(FairMutex, TryLockFailsWhileHeldAndWorksAfter) {
    FairMutex mutex;
    ASSERT_TRUE(mutex.try_lock());
    EXPECT_FALSE(mutex.try_lock());
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
}

}  // namespace
