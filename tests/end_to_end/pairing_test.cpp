// From an unpaired bridge to a daemon that switches its lights.
#include <random>
#include <string>

#include "HouseTest.h"

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
            GTEST_SKIP() << "no private network: a search would leave this machine";
        }
    }

    /// Runs huectl, expects exit code 0, and returns its standard output.
    std::string huectl(const ChildProcess::Words& arguments) {
        const ChildProcess::Result result = house.run_huectl(arguments);
        EXPECT_EQ(result.ending.text(), "exit code 0") << result.errors;
        return result.output;
    }
    void press_button_soon() {
        std::random_device source;
        house.press_button_after(Milliseconds(std::uniform_int_distribution(0, 4000)(source)));
    }
};

// The line of `text` that begins with `beginning`; empty if there is no such line.
std::string line_with(const std::string& text, const std::string& beginning) {
    const std::size_t at = ("\n" + text).find("\n" + beginning);
    return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
}

TEST_F(Pairing, DaemonServesABridgeThatWasFoundAndPaired) {
    const std::string found = huectl({"discover"});
    EXPECT_NE(line_with(found, Bridge::kAddress).find("0017880ae670"), std::string::npos) << found;

    press_button_soon();
    const std::string parameters = line_with(huectl({"pair", Bridge::kAddress}), "ip_address='");
    ASSERT_FALSE(parameters.empty());
    house.store_parameters(parameters);

    start();
    run_object(111, "1");
    EXPECT_TRUE(wait_for_light(1, "on", "true"));
    change_bulb(2, R"({"on": false})");
    EXPECT_TRUE(wait_for_report(121, "0"));
}

}  // namespace
