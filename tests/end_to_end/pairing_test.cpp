// From a bridge that nobody knows to a daemon that switches its lights.
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "HouseTest.h"
#include "huelib/HueFinder.h"
#include "huelib/LinHttpHandler.h"

namespace {

using simulator::Bridge;
using simulator::ChildProcess;

simulator::House::Options unpaired() {
    simulator::House::Options options;
    options.daemon = LUMIVAD_PATH;
    options.huectl = HUECTL_PATH;
    options.is_paired = false;
    return options;
}

class Pairing : public HouseTest {
  protected:
    Pairing() : HouseTest(unpaired()) {}

    void SetUp() override {
        HouseTest::SetUp();
        if (!house.bridge().is_discoverable()) {
            GTEST_SKIP() << "no private network: a search would leave the machine";
        }
    }

    /// What the tool prints on standard output; it must end with 0.
    std::string huectl(const ChildProcess::Words& arguments) {
        const ChildProcess::Result result = house.runs_huectl(arguments);
        EXPECT_EQ(result.ending.text(), "exit code 0") << result.errors;
        return result.output;
    }
    void somebody_presses_the_button_soon() {
        std::random_device source;
        house.presses_button_in(Milliseconds(std::uniform_int_distribution(0, 4000)(source)));
    }
    std::vector<HueFinder::HueIdentification> bridges_found() {
        return HueFinder(std::make_shared<LinHttpHandler>()).FindBridges();
    }
    /// The bridge's answer to somebody who wants to become a user.
    std::string asked_to_pair(const std::string& body) {
        return LinHttpHandler().POSTString("/api", "application/json", body, Bridge::kAddress,
                                           Bridge::kHttpPort);
    }
};

// The line of `text` that begins so; empty when there is none.
std::string line_with(const std::string& text, const std::string& beginning) {
    const std::size_t at = ("\n" + text).find("\n" + beginning);
    return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
}

TEST_F(Pairing, LeadsFromAnUnknownBridgeToADaemonThatSwitchesItsLights) {
    const std::string found = huectl({"discover"});
    EXPECT_NE(line_with(found, Bridge::kAddress).find(Bridge::serial_number()), std::string::npos)
        << found;

    somebody_presses_the_button_soon();
    const std::string parameters = line_with(huectl({"pair", Bridge::kAddress}), "ip_address='");
    ASSERT_FALSE(parameters.empty());
    house.stores_parameters(parameters);

    start();
    runs(111, "1");
    EXPECT_TRUE(light_is(1, "on", "true"));
    bulb(2, R"({"on": false})");
    EXPECT_TRUE(is_reported(121, "0"));
}

TEST_F(Pairing, SearchFindsTheBridgeOnceAmongOtherDevicesAndRubbish) {
    house.bridge().announces("HTTP/1.1 200 OK\r\n\r\n");
    house.bridge().announces("HTTP/1.1 200 OK\r\nSERVER: IpBridge\r\n\r\n");
    house.bridge().announces(std::string("\0\xff\r\n\r\n\r\n\r\n", 10));
    house.bridge().announces("LOCATION: http://127.0.0.66:80/ and no end of it");
    const auto found = bridges_found();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].ip, Bridge::kAddress);
    EXPECT_EQ(found[0].mac, Bridge::serial_number());
    EXPECT_EQ(house.bridge().requests().size(), 1U) << "its description, once";
}

TEST_F(Pairing, BridgeMakesUsersOnlyOfWhomItShould) {
    const std::string request = R"({"devicetype": "test#pairing"})";
    EXPECT_NE(asked_to_pair(request).find(R"("type":101)"), std::string::npos);
    house.bridge().presses_link_button();
    EXPECT_NE(asked_to_pair("{}").find(R"("type":5)"), std::string::npos);
    const auto answer = simulator::parse_json(asked_to_pair(request));
    const std::string name = (*answer)[0]["success"]["username"].asString();
    EXPECT_EQ(name.size(), 40U);
    for (const std::string& user : {name, std::string("simulated-house-user")}) {
        Hue bridge(Bridge::kAddress, user, std::make_shared<LinHttpHandler>());
        EXPECT_EQ(bridge.lightExists(1), user == name) << user;
    }
}

}  // namespace
