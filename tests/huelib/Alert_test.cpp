// The eight alerts in real time: about two seconds each, all at once.
#include "huelib/HueLight.h"
#include "tests/huelib/TestLight.h"

using Commands = std::vector<std::string>;

namespace {

struct Alert {
    const char* name;
    std::function<bool(HueLight&)> start;
    const char* shown;  // what the light is set to meanwhile, with its transition
    const char* shown_when_off;
};

const Alert kColorAlerts[] = {
    {"hue and saturation", [](HueLight& light) { return light.alertHueSaturation(9000, 90); },
     R"({"hue":9000,"sat":90,"transitiontime":1})",
     R"({"hue":9000,"on":true,"sat":90,"transitiontime":1})"},
    {"xy",
     [](HueLight& light) {
         return light.alertXY({0.125F, 0.75F, 9});
     },
     R"({"transitiontime":1,"xy":[0.125,0.75]})",
     R"({"on":true,"transitiontime":1,"xy":[0.125,0.75]})"},
    {"rgb", [](HueLight& light) { return light.alertRGB(0, 0, 254); },
     R"({"bri":255,"hue":43690,"sat":255,"transitiontime":1})",
     R"({"bri":255,"hue":43690,"on":true,"sat":255,"transitiontime":1})"},
};
const Alert kTemperatureAlert = {
    "temperature", [](HueLight& light) { return light.alertTemperature(200); },
    R"({"ct":200,"transitiontime":1})", R"({"ct":200,"on":true,"transitiontime":1})"};

struct Case {
    const Alert* alert;
    bool is_extended;
    std::string mode;
    bool was_on;

    bool is_accepted() const {
        if (mode == "other") {
            return false;
        }
        return is_extended || (mode == "ct") == (alert == &kTemperatureAlert);
    }
    // Back to hue 1000, sat 200, xy [0.5, 0.25] or ct 300; no alert shows any of these.
    std::string restored() const {
        return mode == "hs"   ? R"({"hue":1000,"sat":200,"transitiontime":1})"
               : mode == "xy" ? R"({"transitiontime":1,"xy":[0.5,0.25]})"
                              : R"({"ct":300,"transitiontime":1})";
    }
    Commands expected() const {
        if (!is_accepted()) {
            return {};
        }
        const std::string put = "PUT /lights/3/state ";
        Commands all{put + (was_on ? alert->shown : alert->shown_when_off),
                     put + R"({"alert":"select"})"};
        all.push_back(put + restored());
        if (!was_on) {
            all.push_back(put + R"({"on":false,"transitiontime":1})");
        }
        return all;
    }
};

std::vector<Case> all_cases() {
    std::vector<const Alert*> alerts{&kTemperatureAlert};
    for (const Alert& each : kColorAlerts) {
        alerts.push_back(&each);
    }
    std::vector<Case> cases;
    for (const Alert* alert : alerts) {
        for (const bool is_extended : {false, true}) {
            for (const char* mode : {"hs", "xy", "ct", "other"}) {
                for (const bool was_on : {true, false}) {
                    cases.push_back({alert, is_extended, mode, was_on});
                }
            }
        }
    }
    return cases;
}

}  // namespace

TEST(Alert, ShowsBlinksAndGoesBackToWhatTheLightWas) {
    for_each_at_once(all_cases(), [](const Case& one) {
        TestLight test(R"({"colormode": ")" + one.mode + R"(", "on": )" +
                       (one.was_on ? "true}" : "false}"));
        if (!one.is_extended) {
            test.simple();
        }
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(one.alert->start(test.light), one.is_accepted());
        const auto took = std::chrono::steady_clock::now() - start;
        const std::string name = std::string(one.alert->name) + " in mode " + one.mode +
                                 (one.is_extended ? ", extended" : ", simple") +
                                 (one.was_on ? ", on" : ", off");
        EXPECT_EQ(test.bridge->commands(), one.expected()) << name;
        if (one.is_accepted()) {
            EXPECT_GE(took, std::chrono::milliseconds(1720)) << name;
        }
    });
}

TEST(Alert, EndsAtOnceWhenTheColorOrTheBlinkingIsRefused) {
    const int refused_commands[] = {1, 2};
    for_each_at_once(refused_commands, [](int refused) {
        TestLight test;
        if (refused == 2) {
            test.bridge->answers("PUT", R"([{"success": {"/lights/3/state/transitiontime": 1}},
                           {"success": {"/lights/3/state/hue": 9000}},
                           {"success": {"/lights/3/state/sat": 90}}])");
        }
        test.bridge->answers("PUT", R"([{"error": {"type": 201}}])");
        EXPECT_FALSE(test.light.alertHueSaturation(9000, 90));
        EXPECT_EQ(test.bridge->commands().size(), static_cast<std::size_t>(refused));
    });
}

TEST(Alert, FailsAtTheEndWithoutAStrategyToGoBackWith) {
    const char* const modes[] = {"ct", "hs"};
    for_each_at_once(modes, [](const std::string& mode) {
        TestLight test(R"({"on": false, "colormode": ")" + mode + "\"}");
        if (mode == "ct") {
            test.light.setColorTemperatureStrategy(nullptr);
            EXPECT_FALSE(test.light.alertHueSaturation(9000, 90));
        } else {
            test.light.setColorHueStrategy(nullptr);
            EXPECT_FALSE(test.light.alertTemperature(200));
        }
        EXPECT_EQ(test.bridge->commands().size(), 2U);  // shown and blinked, not switched off
    });
}

TEST(Alert, BlinksADarkLightWhenTheAlertColorIsGrey) {
    TestLight test;
    EXPECT_TRUE(test.light.alertRGB(50, 50, 50));
    const std::string put = "PUT /lights/3/state ";
    EXPECT_EQ(test.bridge->commands(),
              (Commands{put + R"({"on":false})", put + R"({"alert":"select"})",
                        put + R"({"on":true,"transitiontime":1})"}));
}
