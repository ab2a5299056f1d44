#include <string>
#include <vector>

#include "HuectlTest.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Light : public HuectlTest {};

TEST_F(Light, ChangesTheBulbByEachOption) {
    struct Case {
        int light;
        Words options;
        const char* member;
        const char* value;
    };
    const std::vector<Case> cases = {
        {1, {"--on"}, "on", "true"},
        {1, {"--brightness", "33"}, "bri", "83"},
        {1, {"--brightness", "0"}, "on", "false"},
        {2, {"--off"}, "on", "false"},
        {2, {"--kelvin", "2700"}, "ct", "370"},
        {2, {"--mired", "500"}, "ct", "500"},
        {4, {"--rgb", "ff0000"}, "hue", "0"},
        {4, {"--hsv", "170,255,100"}, "hue", "43690"},
        {4, {"--xy", "0.3,0.25"}, "xy", "[0.3,0.25]"},
        {4, {"--loop", "on"}, "effect", "\"colorloop\""},
        {4, {"--loop", "off"}, "effect", "\"none\""},
    };
    for (const Case& one : cases) {
        EXPECT_THAT(light(one.light, one.options), Succeeds()) << one.options[0];
        EXPECT_EQ(simulator::compact_json(bridge().light(one.light).state(one.member)), one.value)
            << one.options[0];
    }
}

TEST_F(Light, CarriesOutSeveralOptionsInTheDocumentedOrder) {
    const Result result = light(4, {"--brightness", "50", "--name", "K\u00fcche", "--loop", "on",
                                    "--rgb", "00FF00", "--blink", "--on", "--transition", "1000"});
    EXPECT_THAT(result, Succeeds());
    EXPECT_THAT(
        changes(),
        ElementsAre(R"(PUT /lights/4/name {"name":"K\u00fcche"})",
                    R"(PUT /lights/4/state {"on":true,"transitiontime":10})",
                    R"(PUT /lights/4/state {"bri":255,"hue":21845,"sat":255,"transitiontime":10})",
                    R"(PUT /lights/4/state {"bri":127,"transitiontime":10})",
                    R"(PUT /lights/4/state {"effect":"colorloop"})",
                    R"(PUT /lights/4/state {"alert":"select"})"));
    EXPECT_THAT(result.output, HasSubstr("K\u00fcche"));
}

TEST_F(Light, IsReadAndChangedInThePaceOfTheBridge) {
    EXPECT_THAT(light(1, {"--on", "--brightness", "50"}), Succeeds());
    constexpr std::chrono::milliseconds kSmallestGap{50};  // 100 ms, less what a busy machine adds
    const auto requests = bridge().requests();
    for (std::size_t i = 1; i < requests.size(); ++i) {
        EXPECT_GE(requests[i].start - requests[i - 1].start, kSmallestGap) << i;
    }
}

TEST_F(Light, GoesBackToItsColourAfterAFlash) {
    EXPECT_THAT(light(3, {"--flash", "0000FF"}), Succeeds());
    EXPECT_THAT(changes(), testing::Contains(HasSubstr(R"("hue":43690)")));
    EXPECT_EQ(bridge().light(3).hue(), 8402U);
    EXPECT_THAT(light(2, {"--flash", "6500"}), Succeeds());
    EXPECT_THAT(changes(), testing::Contains(HasSubstr(R"("ct":153)")));
    EXPECT_EQ(bridge().light(2).temperature(), 366U);
}

TEST_F(Light, SendsNothingForWhatALightCannotDo) {
    EXPECT_THAT(light(1, {"--on", "--rgb", "FF0000"}), FailsWith(1, "cannot do --rgb"));
    EXPECT_THAT(light(3, {"--flash", "2700"}), FailsWith(1, "cannot do --flash"));
    set_light(7, R"({"modelid": "XYZ001"})");
    EXPECT_THAT(light(7, {"--on"}), FailsWith(1, "not in the catalogue"));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(light(7).output, HasSubstr("UNKNOWN MODEL"));
}

TEST_F(Light, ReportsARefusalThatTheLibraryIgnores) {
    remove_state_member(4, "hue");
    EXPECT_THAT(light(4, {"--hsv", "10,20,30"}),
                FailsWith(1, "--hsv: the bridge says \"parameter, hue, not available\""));
}

TEST_F(Light, ReportsTheErrorOfTheBridge) {
    EXPECT_THAT(light(99, {"--on"}), FailsWith(1, "/lights/99, not available"));
    EXPECT_THAT(lights("stranger"), FailsWith(1, "\"unauthorized user\"; pair"));
}

TEST_F(Light, TakesTheUserFromTheEnvironment) {
    const Words environment = {std::string("HUE_USERNAME=") + kUser};
    EXPECT_THAT(run({"light", kAddress, "4", "--off"}, environment), Succeeds());
    EXPECT_FALSE(bridge().light(4).is_on());
    EXPECT_THAT(run({"lights", kAddress}, environment), Succeeds());
    EXPECT_THAT(run({"lights", kAddress, "stranger"}, environment), FailsWith(1, "unauthorized"));
}

TEST_F(Light, IsRemovedOnlyWhenConfirmed) {
    EXPECT_THAT(run({"forget", kAddress, kUser, "4"}), FailsWith(2, "--yes"));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(run({"forget", kAddress, kUser, "4", "--yes"}), Succeeds());
    EXPECT_THAT(bridge().light_ids(), Not(testing::Contains(4)));
}

TEST_F(Light, IsOneRowUnderTheHeadingInOneRequest) {
    set_light(10, R"({"name": "Ten"})", R"({"colormode": "ct", "ct": 250, "reachable": false})");
    const Result result = lights();
    EXPECT_THAT(result, Succeeds());
    EXPECT_EQ(bridge().requests().size(), 1U);
    const std::vector<Words> rows = cells_of(result.output);
    ASSERT_EQ(rows.size(), 8U);
    EXPECT_THAT(rows[0], ElementsAre("id", "name", "model", "class", "on", "brightness",
                                     "temperature or colour"));
    EXPECT_THAT(rows[1], ElementsAre("1", "Hall", "LWB010", "white", "off", "79 %", "-"));
    EXPECT_THAT(rows[4], ElementsAre("4", "Living room", "LCT007", "colour B", "on", "79 %",
                                     "hsv 33,140,200"));
    EXPECT_THAT(rows[7],
                ElementsAre("10", "Ten", "LCT007", "colour B", "unreachable", "79 %", "4000 K"))
        << "9 comes before 10";
    const std::size_t second_line = result.output.find('\n') + 1;
    EXPECT_EQ(result.output.find("model"), result.output.find("LWB010") - second_line) << "aligned";
}

TEST_F(Light, CannotControlTheTerminalByItsName) {
    set_light(7, R"({"name": "\u001b]0;x\u0007\u009b2J\r\nBad\u202e", "modelid": "\u001b[2J"})");
    const std::string shown = lights().output;
    EXPECT_THAT(shown, HasSubstr(R"(\x1b]0;x\x07\xc2\x9b2J\x0d\x0aBad?)"));
    EXPECT_EQ(shown.find_first_of("\x1b\x07\r"), std::string::npos);
    EXPECT_EQ(shown.find("\xc2\x9b"), std::string::npos);
}

TEST_F(Light, IsOneJsonDocumentForScripts) {
    set_light(7, R"({"name": "\u001b[2J", "modelid": "XYZ001"})");
    const auto all = simulator::parse_json(run({"lights", kAddress, kUser, "--json"}).output);
    ASSERT_TRUE(all);
    EXPECT_EQ((*all)["lights"].size(), 7U);
    EXPECT_EQ((*all)["lights"][6]["name"], "\x1b[2J");
    EXPECT_TRUE((*all)["lights"][6]["class"].isNull());

    EXPECT_EQ(simulator::compact_json((*all)["lights"][3]),
              R"({"brightness":79,"class":"colour B","hsv":[33,140,200],"id":4,"kelvin":2732,)"
              R"("loop":false,"mired":366,"mode":"hs","model":"LCT007","name":"Living room",)"
              R"("on":true,"reachable":true,"xy":[0.4575,0.4099]})");
    set_light(7, R"({"name": null, "modelid": null, "state": {}})");
    const auto empty = simulator::parse_json(light(7, {"--json"}).output);
    ASSERT_TRUE(empty);
    EXPECT_EQ(simulator::compact_json(*empty),
              R"({"class":null,"id":7,"model":"","name":"","reachable":true})");

    const auto one = simulator::parse_json(light(2, {"--json", "--mired", "250"}).output);
    ASSERT_TRUE(one);
    EXPECT_EQ((*one)["kelvin"], 4000);

    const Result failed = run({"light", kAddress, kUser, "99", "--json"});
    EXPECT_THAT(failed, FailsWith(1, "not available"));
    const auto problem = simulator::parse_json(failed.output);
    EXPECT_TRUE(problem && problem->isMember("error"));
}

}  // namespace
