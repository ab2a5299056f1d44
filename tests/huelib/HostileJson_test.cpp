// JSON of the wrong type or shape from a bridge, in every place that is read.
#include <cmath>
#include <stdexcept>

#include <gmock/gmock.h>

#include "huelib/Hue.h"
#include "huelib/JsonAccess.h"
#include "huelib/LinHttpHandler.h"
#include "tests/huelib/TestLight.h"

namespace {

const std::vector<std::string> kHostile = [] {
    std::vector<std::string> texts;
    for (const Json::Value& each : *simulator::parse_json(R"([null, true, -1, 4294967296,
            18446744073709551615, -9223372036854775808, 0.5, 1e300, -1e300, "text", "", [],
            [[1], {"a": []}], {}, {"success": 1, "state": []}])")) {
        texts.push_back(simulator::compact_json(each));
    }
    return texts;
}();

const Act kCommands[] = {
    act(&HueLight::setBrightness)(77, 9),
    act (&HueLight::setColorTemperature)(277, 9),
    act (&HueLight::setColorHue)(7, 9),
    act (&HueLight::setColorSaturation)(7, 9),
    act (&HueLight::setColorHueSaturation)(7, 7, 9),
    act (&HueLight::setColorXY)({0.125F, 0.125F, 0}, 9),
    act (&HueLight::setColorLoop)(true),
    act (&HueLight::setName)("name"),
    act (&HueLight::alert)(),
};

void read_everything(HueLight& light, const std::string& description) {
    light.updateState(description);
    const HueLight& cached = light;
    cached.isOn();
    cached.getName();
    cached.getBrightness();
    cached.getColorTemperature();
    cached.getColorHueSaturation();
    cached.getColorRGB();
    cached.getColorHSV();
    const XYColor color = cached.getColorXY();
    EXPECT_TRUE(std::isfinite(color.x) && std::isfinite(color.y)) << description;
}

void expect_refusal(const std::string& root, const testing::Matcher<std::string>& message) {
    auto bridge = std::make_shared<ScriptedHttpHandler>();
    bridge->add_answer("GET", root);
    Hue hue("bridge", ScriptedHttpHandler::kUser, bridge);
    EXPECT_THAT([&] { hue.getLight(1); }, testing::ThrowsMessage<std::runtime_error>(message))
        << root;
}

// Styled text has a tab for each level in every line: a deep and wide entry would become hundreds
// of times as large.
TEST(HostileJson, NestingDeeperThanThatOfABridgeIsRefused) {
    const auto nested = [](std::size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    Json::Value value;
    EXPECT_TRUE(JsonAccess::parse(nested(30), value));
    EXPECT_FALSE(JsonAccess::parse(nested(33), value));
    EXPECT_FALSE(JsonAccess::parse(nested(100000), value));
}

// A value with two bytes of text takes a hundred bytes in memory.
TEST(HostileJson, MoreValuesThanTheLargestBridgeHasAreRefused) {
    constexpr std::size_t kLongestAnswer = LinHttpHandler::Limits().answerBytes;
    const std::string light = simulator::compact_json(description_with("{}"));
    std::string lights = "{";
    for (int id = 1; lights.size() < kLongestAnswer; ++id) {
        lights += "\"" + std::to_string(id) + "\":" + light + ",";
    }
    Json::Value value;
    EXPECT_TRUE(JsonAccess::parse(lights + "\"0\":{}}", value))
        << "a bridge's own values are longer";
    for (const char* item : {"1,", "[],", "{},"}) {
        std::string many = "[";
        while (many.size() < kLongestAnswer) {
            many += item;
        }
        EXPECT_FALSE(JsonAccess::parse(many + "1]", value)) << item;
    }
}

}  // namespace

TEST(HostileJson, InADescriptionDoesNotHarmALight) {
    for_each_in_parallel(kHostile, [](const std::string& hostile) {
        TestLight test;
        HueLight& light = test.light;
        read_everything(light, R"({"state": )" + hostile + "}");
        read_everything(light, R"({"state": {}, "name": )" + hostile + "}");
        read_everything(light, R"({"state": {"xy": [)" + hostile + "," + hostile + "]}}");
        for (const char* name : {"on", "bri", "hue", "sat", "ct", "xy", "effect", "colormode"}) {
            const std::string description =
                description_with("{\"" + std::string(name) + "\": " + hostile + "}")
                    .toStyledString();
            read_everything(light, description);
            test.bridge->add_answer("GET", description);
        }
        for (const auto& command :
             kCommands) {  // each refreshes, and so reads one of these answers
            command(light);
        }
    });
}

TEST(HostileJson, InAnAnswerConfirmsNothing) {
    std::vector<std::pair<std::string, const Act*>> cases;
    for (const auto& command : kCommands) {
        for (const std::string& hostile : kHostile) {
            cases.emplace_back(hostile, &command);
        }
    }
    for_each_in_parallel(cases, [](const auto& one) {
        const auto& [hostile, command] = one;
        TestLight test;
        for (const std::string& answer :
             {hostile, "[" + hostile + "]", R"([{"success": )" + hostile + "}]"}) {
            test.bridge->add_answer("PUT", answer);
            EXPECT_FALSE((*command)(test.light)) << answer;
        }
        if (hostile == "null" || hostile == "true") {
            return;
        }
        // Under the right keys: none of the values is the requested one.
        Json::Value answer(Json::arrayValue);
        for (const char* name : {"transitiontime", "bri", "ct", "hue", "sat", "xy"}) {
            Json::Value element;
            element["success"]["/lights/3/state/" + std::string(name)] =
                *simulator::parse_json(hostile);
            answer.append(element);
        }
        test.bridge->add_answer("PUT", answer.toStyledString());
        EXPECT_FALSE((*command)(test.light)) << answer.toStyledString();
    });
}

TEST(HostileJson, InTheListOfLightsGivesTheDocumentedErrors) {
    const std::string not_valid = "Error in Hue getLight(): light id is not valid";
    for (const std::string& hostile : kHostile) {
        expect_refusal(hostile, not_valid);
        expect_refusal(R"({"lights": )" + hostile + "}", not_valid);
        for (const std::string& entry : {hostile, R"({"modelid": )" + hostile + "}"}) {
            expect_refusal(R"({"lights": {"1": )" + entry + "}}",
                           testing::StartsWith("HueLight type "));
        }
        auto bridge = std::make_shared<ScriptedHttpHandler>();
        Hue hue("bridge", ScriptedHttpHandler::kUser, bridge);
        bridge->add_answer("GET", R"({"lights": )" + hostile + "}");
        if (hostile.find("success") == std::string::npos) {
            EXPECT_TRUE(hue.getAllLights().empty()) << hostile;
        }
        bridge->add_answer("GET", hostile);
        EXPECT_NO_THROW(hue.refreshLights()) << hostile;
    }
}
