// A bridge that answers with JSON of the wrong shape, in every place that is read.
#include <cmath>
#include <stdexcept>

#include "huelib/Hue.h"
#include "huelib/JsonAccess.h"
#include "tests/huelib/TestLight.h"

namespace {

const char* const kHostile[] = {"null",
                                "true",
                                "-1",
                                "4294967296",
                                "18446744073709551615",
                                "-9223372036854775808",
                                "0.5",
                                "1e300",
                                "-1e300",
                                R"("text")",
                                R"("")",
                                "[]",
                                R"([[1], {"a": []}])",
                                "{}",
                                R"({"success": 1, "state": []})"};

const char* const kStateMembers[] = {"on", "bri", "hue", "sat", "ct", "xy", "effect", "colormode"};

const std::function<bool(HueLight&)> kCommands[] = {
    [](HueLight& light) { return light.setBrightness(77, 9); },
    [](HueLight& light) { return light.setColorTemperature(277, 9); },
    [](HueLight& light) { return light.setColorHue(7, 9); },
    [](HueLight& light) { return light.setColorSaturation(7, 9); },
    [](HueLight& light) { return light.setColorHueSaturation(7, 7, 9); },
    [](HueLight& light) {
        return light.setColorXY({0.125F, 0.125F, 0}, 9);
    },
    [](HueLight& light) { return light.setColorLoop(true); },
    [](HueLight& light) { return light.setName("name"); },
    [](HueLight& light) { return light.alert(); },
};

void read_everything(const HueLight& light) {
    light.isOn();
    light.getName();
    light.getModelId();
    light.getUId();
    light.getSwVersion();
    light.getBrightness();
    light.getColorTemperature();
    light.getColorHueSaturation();
    light.getColorXY();
    light.getColorRGB();
    light.getColorHSV();
}

std::string outcome_of_getting(const std::string& root) {
    auto bridge = std::make_shared<ScriptedHttpHandler>();
    bridge->answers("GET", root);
    Hue hue("bridge", ScriptedHttpHandler::kUser, bridge);
    try {
        hue.getLight(1);
        return "a light";
    } catch (const Json::Exception& problem) {
        return std::string("Json exception ") + problem.what();
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
}

// Written out in styled form, an entry costs a tab a level on every line: what is deep and wide
// would take hundreds of times its size.
TEST(HostileJson, WhatIsNestedDeeperThanAnyBridgeDoesIsRefused) {
    const auto nested = [](std::size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    Json::Value value;
    EXPECT_TRUE(JsonAccess::parse(nested(30), value));
    EXPECT_FALSE(JsonAccess::parse(nested(33), value));
    EXPECT_FALSE(JsonAccess::parse(nested(100000), value));
}

}  // namespace

TEST(HostileJson, InADescriptionHarmsNoLight) {
    for_each_at_once(kHostile, [](const std::string& hostile) {
        TestLight test;
        test.light.updateState(R"({"state": )" + hostile + "}");
        read_everything(test.light);
        for (const char* name : {"type", "name", "modelid", "uniqueid", "swversion"}) {
            test.light.updateState(R"({"state": {}, ")" + std::string(name) + "\": " + hostile +
                                   "}");
            read_everything(test.light);
        }
        for (const char* name : kStateMembers) {
            const Json::Value description =
                description_with("{\"" + std::string(name) + "\": " + hostile + "}");
            test.light.updateState(description.toStyledString());
            read_everything(test.light);
            test.bridge->answers("GET", description.toStyledString());
        }
        test.light.updateState(R"({"state": {"xy": [)" + hostile + "," + hostile + "]}}");
        const XYColor color = std::as_const(test.light).getColorXY();
        EXPECT_TRUE(std::isfinite(color.x) && std::isfinite(color.y)) << hostile;
        for (const auto& command : kCommands) {  // each refreshes, and so takes one of those
            command(test.light);
        }
    });
}

TEST(HostileJson, AsAnAnswerConfirmsNothing) {
    std::vector<std::pair<std::string, const std::function<bool(HueLight&)>*>> cases;
    for (const auto& command : kCommands) {
        for (const char* hostile : kHostile) {
            cases.emplace_back(hostile, &command);
        }
    }
    for_each_at_once(cases, [](const auto& one) {
        const std::string& hostile = one.first;
        TestLight test;
        for (const std::string& answer :
             {hostile, "[" + hostile + "]", R"([{"success": )" + hostile + "}]"}) {
            test.bridge->answers("PUT", answer);
            EXPECT_FALSE((*one.second)(test.light)) << answer;
        }
        if (hostile == "null" || hostile == "true") {
            return;
        }
        // Under the right keys: whatever number it is, it is not the one that was asked for.
        Json::Value answer(Json::arrayValue);
        for (const char* name : {"transitiontime", "bri", "ct", "hue", "sat", "xy"}) {
            Json::Value element;
            element["success"]["/lights/3/state/" + std::string(name)] =
                *simulator::parse_json(hostile);
            answer.append(element);
        }
        test.bridge->answers("PUT", answer.toStyledString());
        EXPECT_FALSE((*one.second)(test.light)) << answer.toStyledString();
    });
}

TEST(HostileJson, InTheListOfLightsEndsInTheDocumentedErrors) {
    const std::string not_valid = "Error in Hue getLight(): light id is not valid";
    for (const std::string hostile : kHostile) {
        EXPECT_EQ(outcome_of_getting(hostile), not_valid) << hostile;
        EXPECT_EQ(outcome_of_getting(R"({"lights": )" + hostile + "}"), not_valid) << hostile;
        for (const std::string& entry : {hostile, R"({"modelid": )" + hostile + "}"}) {
            const std::string outcome = outcome_of_getting(R"({"lights": {"1": )" + entry + "}}");
            EXPECT_EQ(outcome.rfind("HueLight type ", 0), 0U) << outcome;
        }
        auto bridge = std::make_shared<ScriptedHttpHandler>();
        Hue hue("bridge", ScriptedHttpHandler::kUser, bridge);
        bridge->answers("GET", R"({"lights": )" + hostile + "}");
        if (hostile.find("success") == std::string::npos) {
            EXPECT_TRUE(hue.getAllLights().empty()) << hostile;
        }
        bridge->answers("GET", hostile);
        EXPECT_NO_THROW(hue.refreshLights()) << hostile;
    }
}
