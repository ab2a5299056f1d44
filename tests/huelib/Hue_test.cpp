#include "huelib/Hue.h"

#include <stdexcept>

#include <gmock/gmock.h>

#include "tests/huelib/TestLight.h"
#include "tests/support/SystemLogTest.h"

using Commands = std::vector<std::string>;

namespace {

class HueTest : public SystemLogTest {
  protected:
    void add_light(int id, const std::string& model) {
        Json::Value description = description_with("{}");
        description["modelid"] = model;
        bridge_->set_light(id, description);
    }
    void expect_refusal(int id, const std::string& message) {
        EXPECT_THAT([&] { hue_.getLight(id); },
                    testing::ThrowsMessage<std::runtime_error>(message));
        EXPECT_THROW(hue_.peekLight(id), std::runtime_error);
    }

    std::shared_ptr<ScriptedHttpHandler> bridge_ = std::make_shared<ScriptedHttpHandler>();
    Hue hue_{"10.0.0.1", ScriptedHttpHandler::kUser, bridge_};
};

}  // namespace

TEST_F(HueTest, ControlsEachModelByItsGroup) {
    const struct {
        const char* model;
        ColorType type;
        bool has_temperature, has_color;
    } cases[] = {
        {"LCT001", ColorType::ColorB, true, true},
        {"LCL001", ColorType::ColorB, true, true},        // in two groups
        {"4090331P9_02", ColorType::ColorB, true, true},  // in two groups
        {"LST002", ColorType::ColorC, true, true},        // in two groups
        {"LCA004", ColorType::ColorC, true, true},
        {"929003052501_02", ColorType::ColorCTemperature, true, true},
        {"NLG-RGBW light ", ColorType::ColorA, false, true},
        {"LWO003", ColorType::NoColor, false, false},
        {"LTA011", ColorType::Temperature, true, false},
    };
    int id = 0;
    for (const auto& each : cases) {
        add_light(++id, each.model);
        const HueLight& light = hue_.getLight(id);
        EXPECT_TRUE(light.getColorType() == each.type && light.hasBrightnessControl() &&
                    light.hasTemperatureControl() == each.has_temperature &&
                    light.hasColorControl() == each.has_color)
            << each.model;
    }
    // Only an extended strategy sends a temperature that equals the stored one.
    bridge_->commands();
    hue_.peekLight(1).setColorTemperature(300, 4);
    hue_.peekLight(9).setColorTemperature(300, 4);
    EXPECT_EQ(bridge_->commands(), Commands{R"(PUT /lights/1/state {"ct":300})"});
}

TEST_F(HueTest, RefusesALightUntilTheBridgeListsIt) {
    expect_refusal(3, "Error in Hue getLight(): light id is not valid");
    EXPECT_TRUE(logged("Hue->getLight(3) - light id is not valid"));
    add_light(3, "LCT001");
    EXPECT_EQ(hue_.getLight(3).getId(), 3);
    EXPECT_EQ(bridge_->requests().back().uri, "/api/test-user/lights/3");
    EXPECT_EQ(bridge_->requests().size(), 3U);
    EXPECT_EQ(&hue_.getLight(259), &hue_.peekLight(3));  // the low 8 bits, refreshed
    EXPECT_EQ(bridge_->requests().size(), 4U);
}

TEST_F(HueTest, CutsTheMessageForAnUnknownModel) {
    add_light(1, "lct001");
    add_light(2, std::string(100, 'x'));
    expect_refusal(1, "HueLight type lct001 not supported");
    expect_refusal(2, "HueLight type " + std::string(49, 'x'));
}

TEST_F(HueTest, EscapesAModelAndANameSoThatTheyForgeNoLogLine) {
    Json::Value description = description_with("{}");
    description["modelid"] = "A\n\r\x1b[1mB";
    description["name"] = "C\n\r\x1b[1mD";
    bridge_->set_light(1, description);
    expect_refusal(1, "HueLight type A\\x0a\\x0d\\x1b[1mB not supported");
    EXPECT_EQ(lines_with("Hue->getLight(1) - type: A\\x0a\\x0d\\x1b[1mB"), 1U);
    EXPECT_EQ(lines_with(R"("C\n\r\u001b[1mD")"), 1U) << "as JSON, in the whole description";
    EXPECT_TRUE(never_logged("A\n") && never_logged("C\n") && never_logged("\r"));
}

TEST_F(HueTest, ReportsWhichLightsExist) {
    add_light(3, "LCT001");
    EXPECT_FALSE(std::as_const(hue_).lightExists(3));
    EXPECT_TRUE(hue_.lightExists(3));
    EXPECT_FALSE(hue_.lightExists(4));
    bridge_->add_answer("GET", R"([{"error": {}}])");
    EXPECT_TRUE(hue_.lightExists(3));
    EXPECT_TRUE(
        logged("Answer in Hue::refreshState of http_handler->GETJson(...) is not expected!"));
}

TEST_F(HueTest, RemovesALightOnlyIfTheBridgeConfirms) {
    add_light(3, "LCT001");
    hue_.getLight(3);
    for (const char* answer :
         {"[]", "{}", "[null]", R"([{"error": {}}])", R"([{"success": "/lights/4 deleted"}])",
          R"([{"success": ["/lights/3 deleted"]}])", R"({"success": "/lights/3 deleted"})"}) {
        bridge_->add_answer("DELETE", answer);
        EXPECT_FALSE(hue_.removeLight(3)) << answer;
    }
    EXPECT_EQ(hue_.peekLight(3).getId(), 3);
    bridge_->commands();
    bridge_->add_answer("DELETE", R"([{"success": "/lights/3 deleted"}])");
    EXPECT_TRUE(hue_.removeLight(3));
    EXPECT_EQ(bridge_->commands(), Commands{"DELETE /lights/3 {}"});
    EXPECT_THROW(hue_.peekLight(3), std::runtime_error);
}

TEST_F(HueTest, RefreshesAllKnownLightsWithOneRequest) {
    for (int id = 1; id <= 3; ++id) {
        add_light(id, "LCT001");
        hue_.getLight(id);
    }
    bridge_->commands();
    bridge_->add_answer("GET", R"({"1": {"state": {"bri": 7}}, "2": {"broken": 1}, "3": [],
                                "4": {"state": {}}})");
    hue_.refreshLights();
    ASSERT_EQ(bridge_->requests().size(), 1U);
    EXPECT_EQ(bridge_->requests()[0].uri, "/api/test-user/lights");
    const unsigned brightness[] = {7, 100, 100};
    for (int id = 1; id <= 3; ++id) {
        EXPECT_EQ(std::as_const(hue_).peekLight(id).getBrightness(), brightness[id - 1]);
    }
    EXPECT_THROW(hue_.peekLight(4), std::runtime_error);
}

TEST_F(HueTest, LogsARefreshWithoutLights) {
    add_light(3, "LCT001");
    hue_.getLight(3);
    bridge_->add_answer("GET", R"([{"error": {"type": 1, "description": "unauthorized user"}}])");
    hue_.refreshLights();
    EXPECT_TRUE(
        logged("Answer in Hue::refreshLights of http_handler->GETJson(...) is not expected!"));
    EXPECT_EQ(std::as_const(hue_).peekLight(3).getBrightness(), 100U);
}

TEST_F(HueTest, SendsNothingWithoutAUserName) {
    Hue unpaired("10.0.0.1", "", bridge_);
    unpaired.refreshState();
    unpaired.refreshLights();
    EXPECT_TRUE(bridge_->requests().empty());
}

TEST_F(HueTest, GetsAllLightsInTheOrderOfTheirIds) {
    for (const int id : {10, 2, 1}) {
        add_light(id, "LCT001");
    }
    hue_.getLight(2);
    const auto all = hue_.getAllLights();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_TRUE(all[0].get().getId() == 1 && all[1].get().getId() == 2 &&
                all[2].get().getId() == 10);
    bridge_->add_answer("GET", R"({"lights": {"lamp": {}}})");
    EXPECT_THROW(hue_.getAllLights(), std::invalid_argument);
    bridge_->add_answer("GET", R"({"lights": {"99999999999": {}}})");
    EXPECT_THROW(hue_.getAllLights(), std::out_of_range);
}

TEST_F(HueTest, ReturnsThePictureOfAModel) {
    const char* const cases[][2] = {
        {"LCT001", "e27_waca"}, {"LLC006", ""}, {"LLC006 ", "iris"}, {"HEL001 ", "entity"}};
    for (const auto& each : cases) {
        EXPECT_EQ(hue_.getPictureOfModel(each[0]), each[1]) << each[0];
    }
    EXPECT_EQ(hue_.getPictureOfLight(3), "");
}
