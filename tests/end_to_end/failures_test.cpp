#include <functional>
#include <string>
#include <vector>

#include "HouseTest.h"

namespace {

using simulator::Bridge;

class BridgeFailures : public HouseTest {
  protected:
    // Valid JSON of the wrong shape: of a light, of all lights, or of an answer to a PUT.
    const std::vector<std::string> kWrongShapes = {
        "null",
        "7",
        "\"lights\"",
        "[]",
        "[[[[1]]]]",
        "[null]",
        R"([{"success": 1}])",
        R"([{"success": {"/lights/4/state/on": [1], "/lights/4/state/bri": {}}}])",
        R"([{"error": []}])",
        R"({"state": 1, "lights": 1})",
        R"({"state": [], "lights": []})",
        R"({"state": {"on": [], "bri": "x", "ct": {}, "hue": -1, "sat": 1e99, "xy": 3}})",
        R"({"state": {"on": 3, "bri": -1, "xy": [1], "colormode": 5}, "name": 4, "modelid": []})",
        R"({"4": 1, "5": [], "6": {"state": 2}, "x": {}})",
        R"({"4": {"state": {"on": "no", "bri": {}, "ct": "x", "hue": [], "xy": ["a", "b"]}}})",
    };

    int connections() { return house.bridge().gate().connections(); }
    bool comes_again(int times) {
        const int before = connections();
        return eventually([&] { return connections() >= before + times; });
    }
    void expect_all_is_well() {
        house.bridge().recovers();
        runs(122, "20");
        EXPECT_TRUE(light_is(2, "bri", "50"));
        bulb(6, R"({"bri": 127})");
        EXPECT_TRUE(is_reported(162, "50"));
    }
};

TEST_F(BridgeFailures, AtTheStartAreLoggedLightByLight) {
    house.bridge().refuses();
    const auto status = house.start();
    ASSERT_TRUE(status && status->status == 0);
    EXPECT_TRUE(logs("Connection refused (light id = 1)"));
    EXPECT_TRUE(logs("Connection refused (light id = 6)"));
    runs(141, "1");
    EXPECT_TRUE(
        logs("Request manager thread error: Error in Hue peekLight(): light id is not valid"));
    EXPECT_TRUE(logs("(bridge disconnected)"));
}

TEST_F(BridgeFailures, AHungBridgeCostsOneTimeOutAndTheCoreNothing) {
    start();
    const int before = connections();
    house.bridge().stalls(1);
    runs(111, "1");
    ASSERT_TRUE(eventually([&] { return connections() > before; }));
    const auto asked = std::chrono::steady_clock::now();
    runs(121, "0");
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(2));
    EXPECT_TRUE(logs("Resource temporarily unavailable (light id = 1)"));
    EXPECT_TRUE(light_is(2, "on", "false"));
    EXPECT_EQ(house.bridge().count("PUT", "/lights/1/state"), 1) << "not retried";
}

TEST_F(BridgeFailures, BadAnswersToCommandsHurtNobody) {
    start();
    std::vector<std::function<void(Bridge&)>> troubles = {
        [](Bridge& bridge) { bridge.sends_garbage(); },
        [](Bridge& bridge) { bridge.sends_html(); },
        [](Bridge& bridge) { bridge.sends_half(); },
        [](Bridge& bridge) { bridge.sends_slowly(2); },
    };
    for (const std::string& body : kWrongShapes) {
        troubles.emplace_back([&body](Bridge& bridge) { bridge.sends_body(body); });
    }
    for (std::size_t i = 0; i < troubles.size(); ++i) {
        SCOPED_TRACE(i);
        troubles[i](house.bridge());
        runs(142, std::to_string(10 + i));
        runs(147, "#112233");
        EXPECT_TRUE(comes_again(2));
        house.bridge().recovers();
        runs(112, std::to_string(50 + i));
        EXPECT_TRUE(light_is(1, "bri", std::to_string((50 + i) * 254 / 100)));
    }
    expect_all_is_well();
}

TEST_F(BridgeFailures, BadAnswersToPollsHurtNobody) {
    start();
    house.bridge().sends_html(1);
    EXPECT_TRUE(
        logs("Error while parsing JSON in function strToJsonValue() (bridge disconnected)"));
    for (const std::size_t shape : {3, 9, 13, 14}) {
        house.bridge().sends_body(kWrongShapes[shape], 1);
        EXPECT_TRUE(next_poll_begins());
    }
    expect_all_is_well();
}

TEST_F(BridgeFailures, BadDescriptionsAtTheStartHurtNobody) {
    house.bridge().sends_body(R"({"lights": {"1": 5, "2": {"modelid": 7}, "3": {"modelid": []},
        "4": {"modelid": "LCT007", "state": []}, "5": {"modelid": "XYZ999"}}, "state": [1]})");
    const auto status = house.start();
    ASSERT_TRUE(status && status->status == 0);
    EXPECT_TRUE(logs("HueLight type XYZ999 not supported (light id = 5)"));
    EXPECT_TRUE(logs("Error in Hue getLight(): light id is not valid (light id = 6)"));
    EXPECT_TRUE(logs("HueHandler->init_light_states - end of initial state updates"));
    EXPECT_TRUE(comes_again(1));
}

}  // namespace
