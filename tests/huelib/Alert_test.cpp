// The alerts in real time: about two seconds each, all in parallel.
#include "huelib/HueLight.h"
#include "tests/huelib/TestLight.h"

using Commands = std::vector<std::string>;

namespace {

struct Alert {
    Act start;
    const char* shown;  // the request that shows the alert, without "on"
    bool is_temperature = false;
};

const Alert kAlerts[] = {
    {act(&HueLight::alertTemperature)(200), R"({"ct":200,"transitiontime":1})", true},
    {act(&HueLight::alertHueSaturation)(9000, 90), R"({"hue":9000,"sat":90,"transitiontime":1})"},
    {act(&HueLight::alertXY)({0.125F, 0.75F, 9}), R"({"transitiontime":1,"xy":[0.125,0.75]})"},
    {act(&HueLight::alertRGB)(0, 0, 254),
     R"({"bri":255,"hue":43690,"sat":255,"transitiontime":1})"},
};

// The request that restores the light in each mode; no alert sends the same values.
const struct Mode {
    std::string name;
    const char* restored;
} kModes[] = {{"hs", R"({"hue":1000,"sat":200,"transitiontime":1})"},
              {"xy", R"({"transitiontime":1,"xy":[0.5,0.25]})"},
              {"ct", R"({"ct":300,"transitiontime":1})"},
              {"other", ""}};

struct Case {
    const Alert* alert;
    const Mode* mode;
    bool is_extended;
    bool was_on;

    bool is_accepted() const {
        return mode->name != "other" &&
               (is_extended || (mode->name == "ct") == alert->is_temperature);
    }
    Commands expected() const {
        Json::Value shown = *simulator::parse_json(alert->shown);
        if (!was_on) {
            shown["on"] = true;
        }
        Commands all{kPut + simulator::compact_json(shown), kPut + R"({"alert":"select"})",
                     kPut + mode->restored};
        if (!was_on) {
            all.push_back(kPut + R"({"on":false,"transitiontime":1})");
        }
        return is_accepted() ? all : Commands{};
    }
};

}  // namespace

TEST(Alert, ShowsTheAlertBlinksAndRestoresTheLight) {
    std::vector<Case> cases;
    for (const Alert& alert : kAlerts) {
        for (const Mode& mode : kModes) {
            for (const unsigned bits : {0U, 1U, 2U, 3U}) {
                cases.push_back({&alert, &mode, bits % 2 != 0, bits / 2 != 0});
            }
        }
    }
    for_each_in_parallel(cases, [](const Case& one) {
        TestLight test(R"({"colormode": ")" + one.mode->name + R"(", "on": )" +
                       (one.was_on ? "true}" : "false}"));
        if (!one.is_extended) {
            test.use_simple_strategies();
        }
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(one.alert->start(test.light), one.is_accepted());
        const std::chrono::milliseconds least(one.is_accepted() ? 1720 : 0);
        EXPECT_GE(std::chrono::steady_clock::now() - start, least);
        EXPECT_EQ(test.bridge->commands(), one.expected())
            << one.alert->shown << " in mode " << one.mode->name << one.is_extended << one.was_on;
    });
}

TEST(Alert, StopsWhenTheColorOrTheBlinkingIsRefused) {
    for (const std::size_t refused : {1U, 2U}) {
        TestLight test;
        if (refused == 2) {
            test.bridge->add_answer("PUT", R"([{"success": {"/lights/3/state/transitiontime": 1}},
                           {"success": {"/lights/3/state/hue": 9000}},
                           {"success": {"/lights/3/state/sat": 90}}])");
        }
        test.bridge->add_answer("PUT", R"([{"error": {"type": 201}}])");
        EXPECT_FALSE(test.light.alertHueSaturation(9000, 90));
        EXPECT_EQ(test.bridge->commands().size(), refused);
    }
}

TEST(Alert, FailsWithoutAStrategyThatRestoresButSwitchesOff) {
    for (const bool was_on : {true, false}) {
        const std::string on = was_on ? R"({"on": true, )" : R"({"on": false, )";
        TestLight test(on + R"("colormode": "ct"})");
        test.light.setColorTemperatureStrategy(nullptr);
        EXPECT_FALSE(test.light.alertHueSaturation(9000, 90));
        TestLight other(on + R"("colormode": "hs"})");
        other.light.setColorHueStrategy(nullptr);
        EXPECT_FALSE(other.light.alertTemperature(200));
        for (TestLight* each : {&test, &other}) {
            const Commands sent = each->bridge->commands();
            ASSERT_EQ(sent.size(), was_on ? 2U : 3U);  // shown, blinked
            EXPECT_EQ(sent[1], kPut + R"({"alert":"select"})");
            EXPECT_TRUE(was_on || sent[2] == kPut + R"({"on":false,"transitiontime":1})");
        }
    }
}

TEST(Alert, BlinksALightThatAGreyAlertSwitchedOff) {
    TestLight test;
    EXPECT_TRUE(test.light.alertRGB(50, 50, 50));
    EXPECT_EQ(test.bridge->commands(),
              (Commands{kPut + R"({"on":false})", kPut + R"({"alert":"select"})",
                        kPut + R"({"on":true,"transitiontime":1})"}));
}
