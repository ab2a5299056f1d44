// What the strategies send for a command, and which answers they accept as a confirmation.
#include <cmath>

#include "huelib/HueLight.h"
#include "tests/huelib/TestLight.h"

namespace {

const auto bri = act(&HueLight::setBrightness);
const auto ct = act(&HueLight::setColorTemperature);
const auto hue = act(&HueLight::setColorHue);
const auto sat = act(&HueLight::setColorSaturation);
const auto hue_sat = act(&HueLight::setColorHueSaturation);
const auto xy = act(&HueLight::setColorXY);
const auto rgb = act(&HueLight::setColorRGB);
const auto hsv = act(&HueLight::setColorHSV);
const auto loop = act(&HueLight::setColorLoop);

constexpr const char* kNothing = "";
constexpr const char* kOff = R"({"on": false})";

// The light is on, at bri 100, hue 1000, sat 200, ct 300, xy [0.5, 0.25], effect none, mode hs.
struct Case {
    const char* changes;  // made to that state
    Act act;
    const char* sent;
    bool is_simple = false;
};

const Case kCases[] = {
    {kOff, bri(0, 4), kNothing},
    {"{}", bri(0, 4), R"({"on":false})"},
    {"{}", bri(0, 7), R"({"on":false,"transitiontime":7})"},
    {kOff, bri(300, 4), R"({"bri":254,"on":true})"},
    {R"({"bri": 254})", bri(255, 4), R"({"bri":254})"},  // compared before it is clamped
    {"{}", bri(100, 10), kNothing},
    {kOff, bri(100, 10), R"({"on":true,"transitiontime":10})"},

    {R"({"colormode": "ct"})", ct(300, 4), kNothing},
    {"{}", ct(300, 4), R"({"ct":300})"},
    {"{}", ct(300, 4), kNothing, true},
    {"{}", ct(0, 4), R"({"ct":153})", true},
    {kOff, ct(600, 1), R"({"ct":500,"on":true,"transitiontime":1})"},

    {"{}", hue(1000, 4), kNothing},
    {R"({"colormode": "xy"})", hue(65535, 4), R"({"hue":0})"},
    {kOff, hue(1000, 4), R"({"on":true})"},
    {"{}", sat(255, 4), R"({"sat":254})"},
    {R"({"sat": 255})", sat(255, 4), kNothing},
    {R"({"colormode": "xy"})", sat(200, 4), kNothing},  // the mode does not matter
    {"{}", hue_sat(1000, 255, 4), R"({"sat":254})"},
    {R"({"colormode": "xy"})", hue_sat(1000, 200, 4), R"({"hue":1000,"sat":200})"},
    {kOff, hue_sat(2000, 1, 9), R"({"hue":2000,"on":true,"sat":1,"transitiontime":9})"},

    {R"({"colormode": "xy"})", xy({0.5F, 0.25F, 77}, 4), kNothing},
    {"{}", xy({0.5F, 0.25F, 77}, 4), R"({"xy":[0.5,0.25]})"},
    {R"({"colormode": "xy"})", xy({0.5F, 0.75F, 77}, 1), R"({"transitiontime":1,"xy":[0.5,0.75]})"},
    {R"({"colormode": "xy", "xy": [0.3, 0.25]})", xy({0.3F, 0.25F, 77}, 4), kNothing},
    {R"({"colormode": "xy", "xy": [0.49999997, 0.25]})", xy({0.5F, 0.25F, 77}, 4),
     R"({"xy":[0.5,0.25]})"},

    {"{}", loop(false), kNothing},
    {R"({"effect": "colorloop"})", loop(true), kNothing},
    {"{}", loop(true), R"({"effect":"colorloop"})"},
    {R"({"on": false, "effect": "colorloop"})", loop(false), R"({"effect":"none","on":true})"},

    {"{}", hsv({0, 0, 0}, 10), R"({"on":false})"},
    {"{}", hsv({0, 0, 1}, 4), R"({"bri":1,"hue":0,"sat":0})"},
    {kOff, hsv({255, 255, 255}, 10),
     R"({"bri":255,"hue":65535,"on":true,"sat":255,"transitiontime":10})"},
    {"{}", rgb(0, 0, 255, 4), R"({"bri":255,"hue":43690,"sat":255})"},
    {"{}", rgb(255, 0, 128, 4), R"({"bri":255,"hue":0,"sat":255})"},
    {"{}", rgb(255, 255, 255, 4), R"({"on":false})"},
    {"{}", rgb(0, 0, 0, 10), R"({"on":false})"},
};

// What the bridge answers, and whether that confirms the command; {S"bri" is short for a success.
struct Answer {
    Act act;
    const char* text;
    bool confirms;
};

const Answer kAnswers[] = {
    {bri(7, 10), R"([{S"transitiontime": 10}}, {S"on": true}}, {S"bri": 7}}])", true},
    {bri(7, 10), R"([{S"transitiontime": 10}}, {S"bri": 7}}, {S"on": true}}])", false},
    {bri(7, 10), R"([{S"on": true}}, {S"bri": 7}}])", false},
    {bri(7, 10), R"([{S"transitiontime": 9}}, {S"on": true}}, {S"bri": 7}}])", false},
    {bri(7, 4), R"([{S"on": true}}, {S"bri": 7}}, {"error": {}}])", true},
    {bri(7, 4), R"([{S"on": false}}, {S"bri": 7}}])", false},
    {bri(7, 4), R"([{S"on": true}}, {S"bri": "7"}}])", false},
    {bri(7, 4), R"([{S"on": true}}, {S"bri": -7}}])", false},
    {bri(7, 4), R"([{S"on": true}}, {"error": {"type": 7}}])", false},
    {bri(7, 4), R"([{S"on": true}}, null])", false},
    {bri(7, 4), R"([{S"on": true}}])", false},
    {bri(7, 4), R"({"0": {S"on": true}}, "1": {S"bri": 7}}})", false},
    {ct(100, 4), R"([{S"on": true}}, {S"ct": 153}}])", true},
    {ct(100, 4), R"([{S"on": true}}, {S"ct": 100}}])", false},
    {hue(65535, 4), R"([{S"on": true}}, {S"hue": 0}}])", true},
    {hue(65535, 4), R"([{S"on": true}}, {"success": {}}])", false},  // nothing is not 0
    {hue(65535, 4), R"([{S"on": true}}, {S"hue": "x"}}])", false},
    {hue_sat(5, 6, 4), R"([{S"on": true}}, {S"sat": 6}}, {S"hue": 5}}])", false},
    {hue_sat(5, 6, 4), R"([{S"on": true}}, {S"hue": 5}}, {S"sat": 7}}])", false},
    {sat(255, 4), R"([{S"on": true}}, {S"sat": 254}}])", true},
    {xy({0.3F, 0.4F, 77}, 4), R"([{S"on": true}}, {S"xy": [0.3000, 0.4000]}}])", true},
    {xy({0.3F, 0.4F, 77}, 4), R"([{S"on": true}}, {S"xy": [0.3001, 0.4]}}])", false},
    {xy({0.3F, 0.4F, 77}, 4), R"([{S"on": true}}, {S"xy": [0.3, 0.4001]}}])", false},
    {xy({0.3F, 0.4F, 77}, 4), R"([{S"on": true}}, {S"xy": [0.3]}}])", false},
    {xy({0.3F, 0.4F, 77}, 4), R"([{S"on": true}}, {S"xy": [1e300, 0.4]}}])", false},
    {xy({0.7F, 0.4F, 77}, 4), R"([{S"on": true}}, {S"xy": [0.7, 0.4]}}])",
     true},  // 0.7F is below 0.7
    {xy({NAN, 0.4F, 77}, 4), R"([{S"on": true}}, {S"xy": [0, 0.4]}}])", false},
    {loop(true), R"([{S"on": true}}, {S"effect": "colorloop"}}])", true},
    {loop(true), R"([{S"on": true}}, {S"effect": "none"}}])", false},
    {hsv({1, 2, 3}, 4), R"([{"error": {"type": 7}}])", true},  // whatever the bridge says
    {rgb(1, 2, 3, 4), R"([])", true},
};

// {S"bri": 7}} becomes {"success": {"/lights/3/state/bri": 7}}.
std::string spelled_out(std::string text) {
    const std::string mark = "S\"";
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark)) {
        text.replace(at, mark.size(), "\"success\": {\"/lights/3/state/");
    }
    return text;
}

}  // namespace

TEST(Strategies, SendOnlyWhatChangesSomething) {
    for_each_in_parallel(kCases, [](const Case& one) {
        TestLight test(one.changes);
        if (one.is_simple) {
            test.use_simple_strategies();
        }
        EXPECT_TRUE(one.act(test.light)) << one.changes << " -> " << one.sent;
        const std::vector<std::string> expected(one.sent == std::string(kNothing) ? 0 : 1,
                                                kPut + one.sent);
        EXPECT_EQ(test.bridge->commands(), expected) << one.changes;
    });
}

TEST(Strategies, AcceptOnlyAnswersThatConfirmEveryMemberInOrder) {
    for_each_in_parallel(kAnswers, [](const Answer& answer) {
        TestLight test(kOff);
        test.bridge->add_answer("PUT", spelled_out(answer.text));
        EXPECT_EQ(answer.act(test.light), answer.confirms) << answer.text;
    });
}

TEST(Strategies, GettersOfAConstLightReadTheCacheAndTheOthersRefresh) {
    TestLight test;
    const HueLight& cached = test.light;
    test.bridge->set_light(3, description_with(R"({"bri": 1, "ct": 400, "hue": 65536,
                                                   "sat": 254, "xy": [0.75, 1]})"));
    using HueSaturation = std::pair<std::uint16_t, std::uint8_t>;
    EXPECT_EQ(cached.getBrightness(), 100U);
    EXPECT_EQ(cached.getColorTemperature(), 300U);
    EXPECT_EQ(cached.getColorHueSaturation(), HueSaturation(1000, 200));
    EXPECT_EQ(cached.getColorXY().x, 0.5F);
    EXPECT_EQ(cached.getColorXY().brightness, 100U);
    EXPECT_EQ(cached.getColorHSV().value, 100);
    EXPECT_EQ(cached.getColorRGB().b, 22);
    EXPECT_EQ(test.bridge->requests().size(), 1U);

    EXPECT_EQ(test.light.getBrightness(), 1U);
    EXPECT_EQ(test.light.getColorTemperature(), 400U);
    EXPECT_EQ(test.light.getColorHueSaturation(), HueSaturation(0, 254));
    EXPECT_EQ(test.light.getColorXY().y, 1.0F);
    EXPECT_EQ(test.bridge->requests().size(), 5U);
}
