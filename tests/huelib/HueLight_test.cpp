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

TEST_F(HueLightTest, SwitchesWithoutLookingAtTheAnswer) {
    bridge_.answers("PUT", R"([{"error": {"type": 201}}])");
    bridge_.answers("PUT", "[]");
    EXPECT_TRUE(light_.On(4));
    EXPECT_TRUE(light_.On(0));
    EXPECT_TRUE(light_.Off(10));
    EXPECT_EQ(bridge_.commands(),
              (Commands{R"(PUT /lights/3/state {"on":true})",
                        R"(PUT /lights/3/state {"on":true,"transitiontime":0})",
                        R"(PUT /lights/3/state {"on":false,"transitiontime":10})"}));
    EXPECT_TRUE(std::as_const(light_).isOn());  // what is cached
    EXPECT_FALSE(light_.isOn());
}

TEST_F(HueLightTest, TellsWhatTheBridgeSaysOfIt) {
    const HueLight& light = light_;
    EXPECT_EQ(light.getId(), 3);
    EXPECT_EQ(light.getType(), "Extended color light");
    EXPECT_EQ(light.getName(), "Lamp");
    EXPECT_EQ(light.getModelId(), "LCT015");
    EXPECT_EQ(light.getUId(), "00:17");
    EXPECT_EQ(light.getManufacturername(), "maker");
    EXPECT_EQ(light.getProductname(), "lamp");
    EXPECT_EQ(light.getLuminaireUId(), "");  // not in the description
    EXPECT_EQ(light.getSwVersion(), "1.2");
    EXPECT_EQ(light.getColorType(), ColorType::Undefined);
    EXPECT_EQ(bridge_.requests().size(), 1U);  // that of the constructor

    Json::Value renamed = description_with("{}");
    renamed["name"] = "New";
    renamed["swversion"] = "2";
    bridge_.has_light(3, renamed);
    EXPECT_EQ(light_.getName(), "New");
    EXPECT_EQ(light_.getSwVersion(), "2");
    EXPECT_EQ(bridge_.requests().size(), 3U);
}

TEST_F(HueLightTest, ReadsAsDefaultsBeforeItsFirstDescription) {
    bridge_.answers("GET", R"([{"error": {"type": 3}}])");
    const HueLight light(5, test_.sender());
    EXPECT_EQ(light.getModelId(), "");
    EXPECT_EQ(light.getName(), "");
    EXPECT_FALSE(light.isOn());
    EXPECT_EQ(bridge_.requests().back().uri, "/api/test-user/lights/5");
    EXPECT_TRUE(logged(kUnexpected));
}

TEST_F(HueLightTest, IsRenamedOnlyWhenTheBridgeConfirmsThatName) {
    EXPECT_TRUE(light_.setName("Desk"));
    EXPECT_EQ(bridge_.commands(), Commands{R"(PUT /lights/3/name {"name":"Desk"})"});
    for (const char* answer :
         {"[]", "{}", "null", R"([{"error": {}}])", R"([{"success": {"/lights/3/name": "Des"}}])",
          R"([{"success": {}}])", R"({"0": {"success": {"/lights/3/name": "Desk"}}})"}) {
        bridge_.answers("PUT", answer);
        EXPECT_FALSE(light_.setName("Desk")) << answer;
    }
}

TEST_F(HueLightTest, BlinksOnlyWhenTheBridgeConfirms) {
    EXPECT_TRUE(light_.alert());
    EXPECT_EQ(bridge_.commands(), Commands{R"(PUT /lights/3/state {"alert":"select"})"});
    for (const char* answer :
         {"[]", "{}", R"([{"error": {}}])", R"([{"success": {"/lights/3/state/alert": "none"}}])",
          R"([{"success": {"/lights/3/state/alert": ["select"]}}])"}) {
        bridge_.answers("PUT", answer);
        EXPECT_FALSE(light_.alert()) << answer;
    }
}

TEST_F(HueLightTest, KeepsItsDescriptionWhenARefreshBringsNone) {
    for (const char* answer : {"[]", "{}", "null", R"({"State": {}})", "7"}) {
        bridge_.answers("GET", answer);
        light_.refreshState();
        EXPECT_EQ(std::as_const(light_).getName(), "Lamp") << answer;
    }
    EXPECT_EQ(lines_with(kUnexpected), 5U);
}

TEST_F(HueLightTest, TakesADescriptionThatWasReadElsewhere) {
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

TEST_F(HueLightTest, AnswersNeutrallyWithoutStrategies) {
    light_.setBrightnessStrategy(nullptr);
    light_.setColorTemperatureStrategy(nullptr);
    light_.setColorHueStrategy(nullptr);
    const HueLight& light = light_;
    EXPECT_FALSE(light.hasBrightnessControl() || light.hasTemperatureControl() ||
                 light.hasColorControl());
    EXPECT_FALSE(light_.setBrightness(1, 4) || light_.setColorTemperature(200, 4) ||
                 light_.setColorHue(1, 4) || light_.setColorSaturation(1, 4) ||
                 light_.setColorHueSaturation(1, 1, 4) || light_.setColorXY({}, 4) ||
                 light_.setColorRGB(1, 2, 3, 4) || light_.setColorHSV({1, 2, 3}, 4) ||
                 light_.setColorLoop(true) || light_.alertTemperature(200) ||
                 light_.alertHueSaturation(1, 1) || light_.alertXY({}) || light_.alertRGB(1, 2, 3));
    EXPECT_EQ(light_.getBrightness() + light.getBrightness(), 0U);
    EXPECT_EQ(light_.getColorTemperature() + light.getColorTemperature(), 0U);
    EXPECT_EQ(light_.getColorHueSaturation().first + light.getColorHueSaturation().second, 0);
    EXPECT_EQ(light_.getColorXY().x + light.getColorXY().y, 0);
    EXPECT_EQ(light.getColorXY().brightness, 0U);
    EXPECT_EQ(light.getColorRGB().r + light.getColorRGB().g + light.getColorRGB().b, 0);
    EXPECT_EQ(light.getColorHSV().hue + light.getColorHSV().saturation, 0);
    EXPECT_EQ(bridge_.requests().size(), 1U);
}

TEST_F(HueLightTest, SendsThroughTheSenderThatItWasGivenLast) {
    const TestLight other;
    light_.setCommandAPI(other.sender());
    HueLight copy = light_;
    copy.On(4);
    EXPECT_TRUE(bridge_.commands().empty());
    EXPECT_EQ(other.bridge->commands(), Commands{R"(PUT /lights/3/state {"on":true})"});
}
