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

    std::shared_ptr<ScriptedHttpHandler> bridge_ = std::make_shared<ScriptedHttpHandler>();
    Hue hue_{"10.0.0.1", ScriptedHttpHandler::kUser, bridge_};
    const Hue& cached_ = hue_;
};

// "bri extended color", in the words of models.txt.
std::string controls_of(HueLight& light, ScriptedHttpHandler& bridge) {
    bridge.commands();
    light.setBrightness(1, 4);
    std::string controls = bridge.commands().empty() ? "" : "bri ";
    // Only an extended strategy sends a temperature that equals the stored one.
    light.setColorTemperature(300, 4);
    controls += !light.hasTemperatureControl() ? ""
                : bridge.commands().empty()    ? "simple "
                                               : "extended ";
    controls += light.hasColorControl() ? "color " : "";
    return controls.substr(0, controls.find_last_not_of(' ') + 1);
}

}  // namespace

TEST_F(HueTest, ControlsEachModelByItsGroup) {
    const std::map<std::string, ColorType> types = {
        {"A", ColorType::ColorA},      {"B", ColorType::ColorB},
        {"C", ColorType::ColorC},      {"C+ct", ColorType::ColorCTemperature},
        {"white", ColorType::NoColor}, {"ct", ColorType::Temperature},
    };
    int id = 0;
    for_each_vector("huelib/models.txt", "models", 5, [&](const auto& cells) {
        EXPECT_EQ(hue_.getPictureOfModel(cells[0]), cells[3]);
        if (cells[1] == "-") {
            return;
        }
        add_light(++id, cells[0]);
        HueLight& light = hue_.getLight(id);
        EXPECT_EQ(light.getColorType(), types.at(cells[1]));
        EXPECT_EQ(hue_.getPictureOfLight(id), cells[3]);
        EXPECT_EQ(controls_of(light, *bridge_), cells[2]);
    });
    EXPECT_EQ(hue_.getPictureOfLight(100), "");
}

TEST_F(HueTest, ControlsALightOfAnUnknownModelByItsTypeOnlyIfItMay) {
    int id = 0;
    for_each_vector("huelib/models.txt", "types", 5, [&](const auto& cells) {
        Json::Value description = description_with("{}");
        description["modelid"] = "XYZ\n001";
        description["type"] = cells[0];
        description["capabilities"]["control"]["colorgamuttype"] = cells[1];
        bridge_->set_light(++id, description);
        const auto refuses =
            testing::ThrowsMessage<std::runtime_error>("HueLight type XYZ\\x0a001 not supported");
        hue_.driveUnknownModelsByType(false);
        EXPECT_THAT([&] { hue_.getLight(id); }, refuses);
        hue_.driveUnknownModelsByType(true);
        if (cells[2].empty()) {
            EXPECT_THAT([&] { hue_.getLight(id); }, refuses);
            return;
        }
        EXPECT_EQ(controls_of(hue_.getLight(id), *bridge_), cells[3]);
        EXPECT_TRUE(logged("Hue->getLight(" + std::to_string(id) +
                           ") - unknown model driven by type: class " + cells[2] + ", type " +
                           cells[0] + ", model XYZ\\x0a001, name Lamp"));
    });
    add_light(100, "LCT001");
    hue_.getLight(100);
    EXPECT_TRUE(never_logged("Hue->getLight(100) - unknown model"));
}

TEST_F(HueTest, RefusesALightUntilTheBridgeListsIt) {
    EXPECT_THROW(hue_.getLight(3), std::runtime_error);
    EXPECT_THROW(hue_.peekLight(3), std::runtime_error);
    EXPECT_TRUE(logged("Hue->getLight(3) - light id is not valid"));
    add_light(3, "LCT001");
    EXPECT_EQ(hue_.getLight(3).getId(), 3);
    EXPECT_EQ(bridge_->requests().back().uri, "/api/test-user/lights/3");
    EXPECT_EQ(bridge_->requests().size(), 3U);
    EXPECT_EQ(&hue_.getLight(259), &hue_.peekLight(3));  // the low 8 bits, refreshed
    EXPECT_EQ(bridge_->requests().size(), 4U);
}

TEST_F(HueTest, NamesTheFaultOfADescription) {
    for_each_vector("huelib/answers.txt", "lights", 3, [&](const auto& cells) {
        bridge_->add_answer("GET", cells[0]);
        EXPECT_THAT([&] { hue_.getLight(1); },
                    testing::ThrowsMessage<std::runtime_error>(cells[1]));
    });
    EXPECT_EQ(lines_with("Hue->getLight(1) - type: A\\x0a\\x0d\\x1b[1mB"), 1U);
    EXPECT_EQ(lines_with(R"("A\n\r\u001b[1mB")"), 1U) << "as JSON, in the whole description";
    EXPECT_TRUE(never_logged("A\n") && never_logged("\r"));
}

TEST_F(HueTest, ReportsWhichLightsExist) {
    add_light(3, "LCT001");
    EXPECT_FALSE(cached_.lightExists(3));
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
    for_each_vector("huelib/answers.txt", "not removed", 2, [&](const auto& cells) {
        bridge_->add_answer("DELETE", cells[0]);
        EXPECT_FALSE(hue_.removeLight(3));
        EXPECT_EQ(hue_.peekLight(3).getId(), 3);
    });
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
    EXPECT_EQ(cached_.peekLight(1).getBrightness(), 7U);
    EXPECT_EQ(cached_.peekLight(2).getBrightness(), 100U);
    EXPECT_EQ(cached_.peekLight(3).getBrightness(), 100U);
    EXPECT_THROW(hue_.peekLight(4), std::runtime_error);
    bridge_->add_answer("GET", R"([{"error": {"type": 1, "description": "unauthorized user"}}])");
    hue_.refreshLights();
    EXPECT_TRUE(
        logged("Answer in Hue::refreshLights of http_handler->GETJson(...) is not expected!"));
    EXPECT_EQ(cached_.peekLight(1).getBrightness(), 7U);
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
    std::vector<int> ids;
    for (const HueLight& light : hue_.getAllLights()) {
        ids.push_back(light.getId());
    }
    EXPECT_EQ(ids, (std::vector<int>{1, 2, 10}));
    bridge_->add_answer("GET", R"({"lights": {"lamp": {}}})");
    EXPECT_THROW(hue_.getAllLights(), std::invalid_argument);
    bridge_->add_answer("GET", R"({"lights": {"99999999999": {}}})");
    EXPECT_THROW(hue_.getAllLights(), std::out_of_range);
}
