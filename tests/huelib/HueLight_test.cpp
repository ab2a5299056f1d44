#include "huelib/HueLight.h"

#include "tests/huelib/TestLight.h"
#include "tests/support/SystemLogTest.h"

using Commands = std::vector<std::string>;

namespace {

class HueLightTest : public SystemLogTest {
  protected:
    TestLight test_;
    HueLight& light_ = test_.light;
    ScriptedHttpHandler& bridge_ = *test_.bridge;
};

constexpr const char* kUnexpected =
    "Answer in HueLight::refreshState of http_handler->GETJson(...) is not expected!";

}  // namespace

TEST_F(HueLightTest, SwitchesWithoutCheckingTheAnswer) {
    bridge_.add_answer("PUT", R"([{"error": {"type": 201}}])");
    bridge_.add_answer("PUT", "[]");
    EXPECT_TRUE(light_.On(4) && light_.On(0) && light_.Off(10));
    EXPECT_EQ(bridge_.commands(),
              (Commands{kPut + R"({"on":true})", kPut + R"({"on":true,"transitiontime":0})",
                        kPut + R"({"on":false,"transitiontime":10})"}));
    EXPECT_TRUE(std::as_const(light_).isOn());  // from the cache
    EXPECT_FALSE(light_.isOn());
}

TEST_F(HueLightTest, LogsARefusalAlsoIfTheAnswerIsNotChecked) {
    bridge_.add_answer("PUT", R"([{"error": {"type": 1, "description": "unauthorized user"}}])");
    light_.On(4);
    bridge_.add_answer("PUT",
                       R"([{"success": {}}, {"error": {"description": "it is off, 100%n"}}])");
    light_.setColorHSV({1, 2, 3}, 4);
    EXPECT_TRUE(logged("refused the request: unauthorized user (light id = 3)"));
    EXPECT_TRUE(logged("refused the request: it is off, 100%n (light id = 3)"));
    for (const char* answer : {"null", "7", "{}", "[]", "[null]", R"([{"error": 1}])"}) {
        bridge_.add_answer("PUT", answer);
        light_.Off(4);
    }
    light_.Off(4);
    EXPECT_EQ(lines_with("refused the request: the answer is not expected (light id = 3)"), 6U);
    EXPECT_EQ(lines_with("refused the request: "), 8U) << "what the bridge accepts is not logged";
}

TEST_F(HueLightTest, EscapesARefusalSoThatItForgesNoLogLine) {
    bridge_.add_answer("PUT", R"([{"error": {"description": "no\nforged\r\u001b[1m"}}])");
    light_.On(4);
    EXPECT_TRUE(logged("refused the request: no\\x0aforged\\x0d\\x1b[1m (light id = 3)"));
    EXPECT_TRUE(never_logged("no\n"));
}

TEST_F(HueLightTest, ReportsARenameOrABlinkOnlyIfTheBridgeConfirmsIt) {
    EXPECT_TRUE(light_.setName("Desk"));
    EXPECT_TRUE(light_.alert());
    EXPECT_EQ(bridge_.commands(),
              (Commands{R"(PUT /lights/3/name {"name":"Desk"})", kPut + R"({"alert":"select"})"}));
    for (const char* answer :
         {"[]", "{}", "null", R"([{"error": {}}])", R"([{"success": {}}])",
          R"([{"success": {"/lights/3/name": "Des", "/lights/3/state/alert": "none"}}])",
          R"([{"success": {"/lights/3/name": [], "/lights/3/state/alert": ["select"]}}])",
          R"({"0": {"success": {"/lights/3/name": "Desk", "/lights/3/state/alert": "select"}}})"}) {
        bridge_.add_answer("PUT", answer);
        EXPECT_FALSE(light_.setName("Desk")) << answer;
        bridge_.add_answer("PUT", answer);
        EXPECT_FALSE(light_.alert()) << answer;
    }
}

TEST_F(HueLightTest, KeepsItsDescriptionIfARefreshFails) {
    for (const char* answer : {"[]", "{}", "null", R"({"State": {}})", "7"}) {
        bridge_.add_answer("GET", answer);
        light_.refreshState();
        EXPECT_EQ(std::as_const(light_).getName(), "Lamp") << answer;
    }
    EXPECT_EQ(lines_with(kUnexpected), 5U);
}

TEST_F(HueLightTest, AcceptsADescriptionThatWasReadElsewhere) {
    light_.updateState(R"({"state": {"on": false}, "name": "Other"})");
    EXPECT_EQ(std::as_const(light_).getName(), "Other");
    light_.updateState(R"({"name": "no state"})");
    light_.updateState("[]");
    EXPECT_TRUE(never_logged("Problem crerating"));
    light_.updateState("{");
    light_.updateState(std::string(5000, '['));
    EXPECT_EQ(lines_with("Problem crerating JSON object from received string state."), 2U);
    EXPECT_EQ(std::as_const(light_).getName(), "Other");
    EXPECT_EQ(bridge_.requests().size(), 1U);
}

TEST_F(HueLightTest, ReturnsNeutralValuesWithoutStrategies) {
    light_.setBrightnessStrategy(nullptr);
    light_.setColorTemperatureStrategy(nullptr);
    light_.setColorHueStrategy(nullptr);
    EXPECT_FALSE(light_.setBrightness(1, 4) || light_.setColorTemperature(200, 4) ||
                 light_.setColorHue(1, 4) || light_.setColorSaturation(1, 4) ||
                 light_.setColorHueSaturation(1, 1, 4) || light_.setColorXY({}, 4) ||
                 light_.setColorRGB(1, 2, 3, 4) || light_.setColorHSV({1, 2, 3}, 4) ||
                 light_.setColorLoop(true) || light_.alertTemperature(200) ||
                 light_.alertHueSaturation(1, 1) || light_.alertXY({}) || light_.alertRGB(1, 2, 3));
    const HueLight& light = light_;
    EXPECT_EQ(light_.getBrightness() + light.getBrightness() + light_.getColorTemperature() +
                  light.getColorTemperature() + light_.getColorHueSaturation().first +
                  light.getColorHueSaturation().second + light.getColorXY().brightness +
                  light_.getColorXY().brightness + light.getColorRGB().r + light.getColorHSV().hue,
              0U);
    EXPECT_EQ(bridge_.requests().size(), 1U);  // that of the constructor
}
