// What a light sends for its calls, which answers confirm them, and what it logs.
#include "huelib/HueLight.h"

#include "tests/huelib/TestLight.h"
#include "tests/support/SystemLogTest.h"

namespace {

using std::chrono::milliseconds;
using Cells = std::vector<std::string>;

// The bodies of the requests, separated by blanks; of another path than the state's with the path.
std::string joined(const std::vector<std::string>& commands) {
    static const std::string kPut = "PUT /lights/3/state ";
    std::string all;
    for (const std::string& each : commands) {
        all += all.empty() ? "" : " ";
        all += each.rfind(kPut, 0) == 0 ? each.substr(kPut.size()) : each;
    }
    return all;
}

// Queues the answers that a cell describes, and returns their number.
std::size_t add_answers(ScriptedHttpHandler& bridge, const std::string& cell) {
    std::istringstream words(cell + " ;");
    std::size_t count = 0;
    std::string elements;
    for (std::string word; words >> word;) {
        const std::size_t colon = word.find(':');
        if (word == ";") {
            bridge.add_answer("PUT", "[" + elements + "]");
            elements.clear();
            ++count;
        } else if (word == "=") {
            words >> word;
            bridge.add_answer("PUT", word);
            return 1;
        } else {
            const bool is_json = word[0] == '{' || colon == std::string::npos;
            elements += elements.empty() ? "" : ",";
            elements += is_json ? word
                                : R"({"success":{"/lights/3/state/)" + word.substr(0, colon) +
                                      "\":" + word.substr(colon + 1) + "}}";
        }
    }
    return count;
}

class HueLightTest : public SystemLogTest {
  protected:
    TestLight test_;
    HueLight& light_ = test_.light;
    const HueLight& cached_ = test_.light;
    ScriptedHttpHandler& bridge_ = *test_.bridge;
};

}  // namespace

TEST(LightCalls, SendOnlyWhatChangesSomething) {
    for_each_vector_in_parallel("calls", 4, [](const Cells& cells) {
        TestLight test(cells[0]);
        EXPECT_TRUE(run(test.light, cells[1]));
        const auto requests = test.bridge->requests();
        for (std::size_t i = 1; i + 1 < requests.size(); ++i) {
            if (requests[i].body == R"({"alert":"select"})") {
                EXPECT_GE(requests[i].started - requests[i - 1].started, milliseconds(120));
                EXPECT_GE(requests[i + 1].started - requests[i].started, milliseconds(1600));
            }
        }
        EXPECT_EQ(joined(test.bridge->commands()), cells[2]);
    });
}

TEST(LightCalls, RunAnAlertOnlyInAModeThatCanBeRestored) {
    for_each_vector_in_parallel("alerts", 3, [](const Cells& cells) {
        for (const std::string mode : {"hs", "xy", "ct", "other"}) {
            TestLight test(R"({"colormode":")" + mode + "\"}");
            const bool is_accepted = cells[1].find(mode) != std::string::npos;
            EXPECT_EQ(run(test.light, cells[0]), is_accepted) << mode;
            EXPECT_EQ(test.bridge->commands().size(), is_accepted ? 3U : 0U) << mode;
        }
    });
    for_each_vector_in_parallel("alerts that fail", 4, [](const Cells& cells) {
        TestLight test(cells[0]);
        EXPECT_FALSE(run(test.light, cells[1]));
        const auto sent = test.bridge->commands();
        EXPECT_EQ(std::to_string(sent.size()), cells[2]);
        EXPECT_EQ(joined({sent.back()}), sent.size() == 2 ? R"({"alert":"select"})"
                                                          : R"({"on":false,"transitiontime":1})");
    });
}

TEST(LightCalls, AcceptOnlyAnswersThatConfirmEveryMemberInOrder) {
    for_each_vector_in_parallel("answers", 4, [](const Cells& cells) {
        TestLight test(R"({"on":false})");
        const std::size_t answers = add_answers(*test.bridge, cells[1]);
        EXPECT_EQ(run(test.light, cells[0]), cells[2] == "yes");
        EXPECT_EQ(test.bridge->commands().size(), answers);
    });
}

TEST_F(HueLightTest, WithoutStrategiesCanOnlyBeSwitched) {
    run(light_, "no_bri no_ct no_color");
    for (const char* each : {"bri 1 4", "ct 200 4", "hue 1 4", "sat 1 4", "hue_sat 1 1 4",
                             "xy 0 0 4", "rgb 1 2 3 4", "hsv 1 2 3 4", "loop 1", "alert_ct 200",
                             "alert_hue 1 1", "alert_xy 0 0", "alert_rgb 1 2 3"}) {
        EXPECT_FALSE(run(light_, each)) << each;
    }
    EXPECT_EQ(light_.getBrightness() + cached_.getBrightness() + light_.getColorTemperature() +
                  cached_.getColorTemperature() + light_.getColorHueSaturation().first +
                  cached_.getColorHueSaturation().first + cached_.getColorXY().brightness +
                  light_.getColorXY().brightness + cached_.getColorRGB().r +
                  cached_.getColorHSV().hue,
              0U);
    EXPECT_EQ(bridge_.requests().size(), 1U);  // that of the constructor
}

TEST_F(HueLightTest, GettersOfAConstLightReadTheCacheAndTheOthersRefresh) {
    bridge_.set_light(3, description_with(R"({"on": false, "bri": 1, "ct": 400, "hue": 65536,
                                              "sat": 254, "xy": [0.75, 1]})"));
    using HueSaturation = std::pair<std::uint16_t, std::uint8_t>;
    EXPECT_TRUE(cached_.isOn());
    EXPECT_EQ(cached_.getBrightness(), 100U);
    EXPECT_EQ(cached_.getColorTemperature(), 300U);
    EXPECT_EQ(cached_.getColorHueSaturation(), HueSaturation(1000, 200));
    EXPECT_EQ(cached_.getColorXY().x, 0.5F);
    EXPECT_EQ(cached_.getColorXY().brightness, 100U);
    EXPECT_EQ(cached_.getColorHSV().value, 100);
    EXPECT_EQ(cached_.getColorRGB().b, 22);
    EXPECT_EQ(bridge_.requests().size(), 1U);

    EXPECT_EQ(light_.getBrightness(), 1U);
    EXPECT_EQ(light_.getColorTemperature(), 400U);
    EXPECT_EQ(light_.getColorHueSaturation(), HueSaturation(0, 254));
    EXPECT_EQ(light_.getColorXY().y, 1.0F);
    EXPECT_FALSE(light_.isOn());
    EXPECT_EQ(bridge_.requests().size(), 6U);
}

TEST_F(HueLightTest, LogsARefusalAlsoIfTheAnswerIsNotChecked) {
    bridge_.add_answer("PUT",
                       R"([{"error": {"description": "unauthorized user\nforged\r\u001b[1m"}}])");
    light_.On(4);
    EXPECT_TRUE(logged("refused the request: unauthorized user\\x0aforged\\x0d\\x1b[1m (light id"));
    bridge_.add_answer("PUT", R"([{"success": {}}, {"error": {"description": "off, 100%n"}}])");
    light_.setColorHSV({1, 2, 3}, 4);
    EXPECT_TRUE(logged("refused the request: off, 100%n (light id = 3)"));
    for (const char* answer : {"null", "7", "{}", "[]", "[null]", R"([{"error": 1}])"}) {
        bridge_.add_answer("PUT", answer);
        light_.Off(4);
    }
    light_.Off(4);
    EXPECT_EQ(lines_with("refused the request: the answer is not expected (light id = 3)"), 6U);
    EXPECT_EQ(lines_with("refused the request: "), 8U) << "what the bridge accepts is not logged";
}

TEST_F(HueLightTest, KeepsItsDescriptionIfARefreshFails) {
    for (const char* answer : {"[]", "{}", "null", R"({"State": {}})", "7"}) {
        bridge_.add_answer("GET", answer);
        light_.refreshState();
        EXPECT_EQ(cached_.getName(), "Lamp") << answer;
    }
    EXPECT_EQ(lines_with("Answer in HueLight::refreshState of http_handler->GETJson(...) is not "
                         "expected!"),
              5U);
}

TEST_F(HueLightTest, AcceptsADescriptionThatWasReadElsewhere) {
    light_.updateState(R"({"state": {"on": false}, "name": "Other"})");
    EXPECT_EQ(cached_.getName(), "Other");
    light_.updateState(R"({"name": "no state"})");
    light_.updateState("[]");
    EXPECT_TRUE(never_logged("Problem crerating"));
    light_.updateState("{");
    EXPECT_EQ(lines_with("Problem crerating JSON object from received string state."), 1U);
    EXPECT_EQ(cached_.getName(), "Other");
    EXPECT_EQ(bridge_.requests().size(), 1U);
}
