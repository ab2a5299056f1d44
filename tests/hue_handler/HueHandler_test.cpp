// Set-up of the light table, the core's calls and the request worker.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/hue_handler/HandlerTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HueHandlerTest : public HandlerTest {
  protected:
    // No polls: what is stored is what the worker stored.
    HueHandlerTest() { timings_.poll_period_ms = 600000; }
};

TEST_F(HueHandlerTest, EachRoleDrivesItsPropertyOfItsLight) {
    start();
    puts();
    const struct {
        long object;
        const char* payload;
        const char* body;
    } commands[] = {
        {11, "0", R"({"on":false})"},
        {11, "1", R"({"on":true})"},
        {12, "1", R"({"bri":2})"},
        {12, "100", R"({"bri":254})"},
        {13, "0", R"({"ct":153})"},
        {13, "100", R"({"ct":500})"},
        {17, "#FF8000", R"({"bri":0,"hue":65535,"sat":128})"},
        {22, "50", R"({"bri":127,"on":true})"},
        {12, "-5", R"({"bri":254})"},
        {13, "-1", R"({"ct":153})"},
        {13, "-100", R"({"ct":500})"},
        {12, "0", R"({"on":false})"},
    };
    for (const auto& command : commands) {
        run_and_wait(command.object, command.payload);
        EXPECT_THAT(puts(), ElementsAre(command.body)) << command.object << " " << command.payload;
    }
    EXPECT_EQ(log_.count("Request manager thread error"), 0U);
}

TEST_F(HueHandlerTest, AChannelIsSentWithTheStoredOtherTwo) {
    start();
    Hue reader(simulator::Bridge::kAddress, kUser, std::make_shared<LinHttpHandler>());
    EXPECT_GT(reader.getLight(1).getColorRGB().g, 0);
    puts();
    run_and_wait(14, "0");
    run_and_wait(16, "#FF8000");  // of a colour word only the lowest byte counts for a channel: 0
    run_and_wait(15, "511");      // 0x1FF: 255
    const std::vector<std::string> bodies = puts();
    ASSERT_EQ(bodies.size(), 3U);
    // Only green is left, at first as it was read, then in full: hue byte 85 of 255.
    EXPECT_EQ(bodies[1], R"({"bri":255,"hue":21845,"sat":255})");
    EXPECT_EQ(bodies[2], R"({"bri":255,"hue":21845,"sat":255})");
}

TEST_F(HueHandlerTest, ALightIgnoresRolesThatItCannotDo) {
    start();
    puts();
    run_and_wait(23, "50");  // white only
    run_and_wait(19, "1");   // a preset, which the table leaves out
    run_and_wait(0, "1");    // means "no object", as in the roles of light 2
    run_and_wait(-1, "1");
    run_and_wait(11, "1");  // stored as on already
    run_and_wait(11, "5");
    EXPECT_THAT(puts(), IsEmpty());
    EXPECT_EQ(log_.count("Request manager thread error"), 0U);
}

TEST_F(HueHandlerTest, OnlyWholeNumbersOfRunCallsAreQueued) {
    start();
    puts();
    run(11, "0", "SETVALUE");
    EXPECT_TRUE(logged("Discard received request since it is not a RUN"));
    run(11, "NO-PAYLOAD");
    for (const char* payload : {"", "#12345", "12abc", "99999999999"}) {
        log_.clear();
        run(11, payload);
        EXPECT_TRUE(logged("Invalid RUN parameters: ")) << payload;
    }
    run(11, "1\nforged line");
    EXPECT_TRUE(logged("Invalid RUN parameters: not a number '1\\x0aforged line'"));
    if (sizeof(long) > 4) {
        log_.clear();
        run(static_cast<long>(11LL << 32 | 11), "0");
        EXPECT_TRUE(logged("Invalid RUN parameters: "));
    }
    run_and_wait(999, "0");
    EXPECT_THAT(puts(), IsEmpty());
}

TEST_F(HueHandlerTest, BadRowsAreLoggedAndTheOthersUsed) {
    database_.rows("INSERT INTO vexad_object VALUES (103, 'three', ''), (104, '', '')");
    database_.rows(
        "INSERT INTO vexad_object_relation VALUES (100, 103, ''), (100, 104, ''),"
        " (103, 31, 'tag_complex_element=on_off'), (104, 41, 'tag_complex_element=on_off')");
    start();
    EXPECT_EQ(log_.count("Incomplete or malformed db information: MSP='three', CHILDOBJ_ID='31'"),
              1U);
    EXPECT_EQ(log_.count("Incomplete or malformed db information: MSP='', CHILDOBJ_ID='41'"), 1U);
    run_and_wait(21, "1");
    EXPECT_TRUE(bridge_.light(2).is_on());
}

TEST_F(HueHandlerTest, ALightWithoutAnOnOffObjectIsSkipped) {
    database_.rows("DELETE FROM vexad_object_relation WHERE childobj_id = 21;");
    start();
    puts();
    run_and_wait(22, "80");
    EXPECT_THAT(puts(), IsEmpty());
}

TEST_F(HueHandlerTest, ACommandWaitsForOneLightOfTheInitialReadAtMost) {
    for (int id = 3; id < 12; ++id) {
        const std::string light = std::to_string(id);
        database_.rows("INSERT INTO vexad_object VALUES (" + light + ", '" + light + "', '')");
        database_.rows("INSERT INTO vexad_object_relation VALUES (100, " + light + ", ''), (" +
                       light + ", " + light + "1, 'tag_complex_element=on_off')");
    }
    ASSERT_EQ(init(), 0);
    ASSERT_TRUE(eventually([this] { return bridge_.count("GET", "/lights/2") > 0; }));
    run(11, "0");
    ASSERT_TRUE(eventually([this] { return bridge_.count("PUT", "/lights/1/state") > 0; }));
    EXPECT_EQ(log_.count("end of initial state updates"), 0U);
}

TEST_F(HueHandlerTest, AMillionCommandsAreQueuedAndFurtherOnesDropped) {
    start();
    bridge_.inject_fault("stall");
    run(11, "0");
    ASSERT_TRUE(logged("-- Received request: obj_id 11"));
    callfromcoreparametersnamespace::CallFromCoreParameters call(21, "RUN", "1", "", "", "");
    for (int i = 0; i < 1000000; ++i) {
        handler_->didReceiveCallFromCore(nullptr, &call);
    }
    EXPECT_TRUE(never_logged("Request dropped"));
    run(22, "7");
    EXPECT_TRUE(logged("Request dropped, too many requests are waiting: obj_id 22, value 7"));
    handler_->willTerminate(nullptr, nullptr);
    bridge_.recover();
    EXPECT_TRUE(logged("1000000 requests dropped, the request manager thread has ended"));
}

TEST_F(HueHandlerTest, AcceptedCommandsThatTheEndCutsOffAreLogged) {
    start();
    bridge_.inject_fault("stall");
    run(11, "0");
    ASSERT_TRUE(logged("-- Received request: obj_id 11"));
    run(21, "1");
    EXPECT_EQ(handler_->willTerminate(nullptr, nullptr), 0);
    EXPECT_FALSE(handler_->is_monitoring());
    EXPECT_TRUE(logged("lumivad will terminate soon"));
    run(22, "1");
    EXPECT_TRUE(logged("Request dropped, lumivad will terminate soon: obj_id 22, value 1"));
    bridge_.recover();
    EXPECT_TRUE(logged("Exit from execute_request thread:"));
    EXPECT_TRUE(logged("Exit from state_monitor thread:"));
    EXPECT_TRUE(logged("1 requests dropped, the request manager thread has ended"));
}

}  // namespace
