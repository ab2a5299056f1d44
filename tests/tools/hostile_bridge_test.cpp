#include <string>

#include "HuectlTest.h"
#include "tools/ObservingHttpHandler.h"

namespace {

using testing::ElementsAre;

class HostileBridge : public HuectlTest {};

TEST_F(HostileBridge, IsNotReachedWhateverItAnswers) {
    constexpr std::size_t kMoreThanABridgeSends = std::size_t{3} << 20;
    for (const std::string& body :
         {std::string("[]"), std::string("null"), std::string("42"), std::string("[null,[]]"),
          std::string("\"lights\""), std::string(), std::string(1000, '['),
          "[" + std::string(kMoreThanABridgeSends, ' ') + "]"}) {
        send_body(body);
        EXPECT_THAT(lights(), FailsWith(3, "check the address")) << body.substr(0, 20);
        EXPECT_THAT(light(4, {"--on"}), FailsWith(3, "check the address")) << body.substr(0, 20);
    }
    send_body("{}");
    EXPECT_THAT(lights(), Succeeds()) << "a bridge without lights";
    EXPECT_THAT(light(4, {"--on"}), FailsWith(3, "check the address"));
}

TEST_F(HostileBridge, IsNotReachedWhenItSpeaksNoHttp) {
    bridge().inject_fault("html");
    EXPECT_THAT(lights(), FailsWith(3, "does not answer like a bridge"));
    bridge().inject_fault("garbage");
    EXPECT_THAT(lights(), FailsWith(3, "does not answer like a bridge"));
    bridge().inject_fault("half");
    EXPECT_THAT(lights(), FailsWith(3, "does not answer like a bridge"));
    bridge().inject_fault("reset");
    EXPECT_THAT(lights(), FailsWith(3, "was not reached"));
    bridge().inject_fault("cut");
    EXPECT_THAT(lights(), FailsWith(3, "Connection refused"));
    EXPECT_THAT(run({"lights", "no-such-host.invalid", kUser}), FailsWith(3, "no such host"));
}

TEST_F(HostileBridge, TimesOutWhenItStalls) {
    bridge().inject_fault("stall");
    EXPECT_THAT(lights(), FailsWith(3, "no answer in time"));
}

TEST_F(HostileBridge, ShowsLightsOfAnyShape) {
    send_body(R"({"1": null, "2": [], "3": {"state": {"on": [], "bri": -1, "xy": {},
        "hue": 1e99, "ct": "x", "colormode": "xy"}, "name": {"a": 1}}, "x": {}, "-4": {},
        "99999999999": {}, "5": {"state": {"bri": 4294967295, "colormode": "ct", "ct": 0}}})");
    const Result result = lights();
    EXPECT_THAT(result, Succeeds());
    EXPECT_THAT(cells_of(result.output),
                ElementsAre(testing::_, ElementsAre("1", "-", "-", "UNKNOWN MODEL", "-", "-", "-"),
                            ElementsAre("2", "-", "-", "UNKNOWN MODEL", "-", "-", "-"),
                            ElementsAre("3", "-", "-", "UNKNOWN MODEL", "-", "-", "-"),
                            ElementsAre("5", "-", "-", "UNKNOWN MODEL", "-", "100 %", "0 K")));
    EXPECT_TRUE(simulator::parse_json(run({"lights", kAddress, kUser, "--json"}).output));
}

TEST_F(HostileBridge, CannotControlTheTerminalByItsErrors) {
    send_body(R"([{"error": {"type": [], "description": "\u001b[2J\nok"}}])");
    EXPECT_THAT(lights(), FailsWith(1, "the bridge says \"\\x1b[2J\\x0aok\""));
}

TEST_F(HostileBridge, ConfirmsNothingByAnAnswerWithoutASuccess) {
    const huectl::ObservingHttpHandler transport;
    for (const char* body : {"[]", "{}", "null", R"([{"warning": 1}])"}) {
        send_body(body);
        transport.PUTJson("/api/installer/lights/4/state", Json::Value(), kAddress, 80);
        const auto refusal = transport.take_refusal();
        EXPECT_TRUE(refusal && refusal->type == huectl::Refusal::kNotConfirmed) << body;
    }
    bridge().recover();
    transport.GETJson("/api/installer/lights", Json::Value(), kAddress, 80);
    EXPECT_FALSE(transport.take_refusal());
}

}  // namespace
