// What the scripts of the house cannot test: other installations, and what takes the daemon
// minutes.
#include "hue_handler/HueHandler.h"

#include <algorithm>
#include <future>

#include "gtwhandler/CallFromCoreParameters.h"
#include "huelib/LinHttpHandler.h"
#include "simulator/Installation.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"
#include "simulator/core/Core.h"
#include "simulator/database/DatabaseService.h"
#include "tests/support/SystemLogTest.h"

namespace {

constexpr const char* kUser = "test-user";

/// A handler with the sample installation and short waits. Light 1 is white and off; light 4 has
/// every role and is on.
class HueHandlerTest : public SystemLogTest {
  protected:
    static Json::Value sample_lights() {
        return simulator::load_json_file(simulator::Installation::file("sample-lights.json"));
    }
    explicit HueHandlerTest(const Json::Value& lights = sample_lights())
        : bridge_({kUser, lights}) {}

    /// Fills the table; no light has been read yet.
    void init() {
        handler_ = std::make_unique<hue_handler::HueHandler>(
            100, simulator::Bridge::kAddress, kUser, std::make_shared<LinHttpHandler>(), kTimings);
        handler_->drive_unknown_models_by_type(drives_unknown_models_);
        ASSERT_EQ(handler_->init(), 0);
    }
    /// The same, and waits for the initial read and the first poll.
    void start() {
        init();
        ASSERT_TRUE(logged("light status from bridge received, parsing..."));
    }
    void run(long object, const char* payload, const char* action = "RUN") {
        callfromcoreparametersnamespace::CallFromCoreParameters call(object, action, payload,
                                                                     "NO-OPTIONALS", "", "");
        EXPECT_EQ(handler_->didReceiveCallFromCore(nullptr, &call), 0);
    }
    /// Waits for the end of the commands so far; no light has object 999.
    void finish() {
        run(999, "0");
        EXPECT_TRUE(logged("-- Received request: obj_id 999"));
    }
    static bool eventually(const std::function<bool()>& predicate) {
        return simulator::Journal().wait_until(predicate, std::chrono::seconds(20));
    }
    /// Whether the core has a report of this object, with this value unless it is empty.
    bool has_reported(int object, const std::string& value = "") const {
        const auto reports = core_.reports();
        return std::any_of(reports.begin(), reports.end(), [&](const auto& report) {
            return report.object == object && (value.empty() || report.value == value);
        });
    }
    /// Waits until so many polls have begun since this call.
    bool wait_for_polls(int how_many) {
        const int before = bridge_.count("GET", "/lights");
        return eventually([&] { return bridge_.count("GET", "/lights") >= before + how_many; });
    }

    static constexpr hue_handler::HueHandler::Timings kTimings{150, 5, 1, 4};
    simulator::Core core_;
    simulator::DatabaseService database_{
        simulator::load_text_file(simulator::Installation::file("sample-house.sql"))};
    simulator::Bridge bridge_;
    bool drives_unknown_models_ = false;
    std::unique_ptr<hue_handler::HueHandler> handler_;
};

TEST_F(HueHandlerTest, UsesWhatIsValidOfTheDatabase) {
    database_.rows("UPDATE vexad_object SET msp = 'two' WHERE id = 120");
    database_.rows("UPDATE vexad_object_relation SET childobj_id = 1 WHERE childobj_id = 111");
    database_.rows("DELETE FROM vexad_object_relation WHERE childobj_id = 151");
    database_.rows(
        "INSERT INTO vexad_object_relation VALUES (110, 113, 'tag_complex_element=temperature')");
    start();
    EXPECT_EQ(lines_with("Incomplete or malformed db information: MSP='two', CHILDOBJ_ID='121'"),
              1U);
    run(0, "1");     // light 3 has no hsv object
    run(113, "50");  // a white light
    run(152, "50");  // a light without an on_off object
    run(1, "1");
    finish();
    for (const auto& [light, commands] : {std::pair(1, 1), std::pair(3, 0), std::pair(5, 0)}) {
        EXPECT_EQ(bridge_.count("PUT", "/lights/" + std::to_string(light) + "/state"), commands);
    }
    EXPECT_TRUE(never_logged("Request manager thread error"));
    bridge_.light(1).turn(false);
    EXPECT_TRUE(eventually([this] { return has_reported(1, "0"); }));
    EXPECT_EQ(core_.reports().back().caller, "100");
    EXPECT_FALSE(has_reported(0)) << "malformed";
}

/// Light 1 is a plug of an unknown model, with the value object of a lamp.
class WithAPlug : public HueHandlerTest {
  protected:
    WithAPlug() : HueHandlerTest(lights()) { drives_unknown_models_ = true; }

    static Json::Value lights() {
        Json::Value lights = sample_lights();
        lights["1"]["modelid"] = "LOM010";
        lights["1"]["type"] = "On/Off plug-in unit";
        return lights;
    }
};

TEST_F(WithAPlug, SwitchesItButDoesNotDimIt) {
    start();
    run(112, "50");
    run(112, "0");
    run(111, "1");
    finish();
    EXPECT_EQ(bridge_.count("PUT", "/lights/1/state"), 1);
    EXPECT_TRUE(bridge_.light(1).is_on());
    bridge_.light(1).turn(false);
    EXPECT_TRUE(eventually([this] { return has_reported(111, "0"); }));
    EXPECT_FALSE(has_reported(112));
}

TEST_F(HueHandlerTest, SendsNothingForWhatIsNoCommandOrChangesNothing) {
    start();
    run(141, "0", "SETVALUE");
    EXPECT_TRUE(logged("Discard received request since it is not a RUN"));
    run(141, "NO-PAYLOAD");
    EXPECT_TRUE(never_logged("Invalid RUN parameters: "));
    run(141, "1\nforged line");
    EXPECT_TRUE(logged("Invalid RUN parameters: not a number '1\\x0aforged line'"));
    if (sizeof(long) > 4) {
        run(static_cast<long>(1LL << 32 | 141), "0");
        EXPECT_TRUE(logged("Invalid RUN parameters: out of range '4294967437'"));
    }
    run(141, "1");  // the light is on
    run(141, "2");
    finish();
    EXPECT_EQ(bridge_.count("PUT", "/lights/4/state"), 0);
}

TEST_F(HueHandlerTest, ACommandWaitsForOneLightOfTheInitialReadAtMost) {
    init();
    ASSERT_TRUE(eventually([this] { return bridge_.count("GET", "/lights/2") > 0; }));
    run(111, "1");
    finish();
    EXPECT_TRUE(bridge_.light(1).is_on());
    EXPECT_EQ(bridge_.count("GET", "/lights/6"), 0);
}

TEST_F(HueHandlerTest, AFailedInitialReadIsRepeatedForTheLightsThatItDidNotReach) {
    bridge_.remove_light(4);
    start();
    const std::string problem = "Error in Hue getLight(): light id is not valid (light id = 4)";
    ASSERT_TRUE(logged(problem));
    const int reads = bridge_.count("GET", "/lights/1");
    log_.clear();
    EXPECT_TRUE(logged("Check again the list with the bridge."));
    EXPECT_TRUE(logged(problem));
    EXPECT_EQ(bridge_.count("GET", "/lights/1"), reads);
    bridge_.recover();
    EXPECT_TRUE(eventually([this] {
        run(141, "0");
        return !bridge_.light(4).is_on();
    }));
    log_.clear();
    EXPECT_TRUE(wait_for_polls(6));
    EXPECT_TRUE(never_logged("Check again"));
}

TEST_F(HueHandlerTest, ASlowCoreDoesNotBlockCommandsAndLosesNoChangeOfAnyLightOrRole) {
    start();
    core_.inject_fault("late");  // two reports for each poll
    bridge_.light(4).change(*simulator::parse_json(R"({"hue":40000,"sat":254})"));
    bridge_.light(5).turn(true);
    ASSERT_TRUE(logged("Monitoring thread - the core is slow or does not answer"));
    EXPECT_LE(core_.reports().size(), 3U);
    Json::Value changing;
    EXPECT_TRUE(eventually([&] {
        changing["bri"] = changing["bri"].asInt() % 200 + 1;
        changing["ct"] = changing["bri"].asInt() + 160;
        bridge_.light(4).change(changing);
        return has_reported(147) && has_reported(151, "1");
    }));
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

TEST(FairMutex, AdmitsOneCallerAtATime) {
    hue_handler::FairMutex mutex;
    mutex.lock();
    EXPECT_FALSE(mutex.try_lock());
    const auto second = std::async(std::launch::async, [&] { mutex.lock(); });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    mutex.unlock();
    second.wait();
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
}

}  // namespace
