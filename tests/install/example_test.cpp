// The example, built against the installed library, in front of the simulated bridge.
#include <chrono>

#include <gtest/gtest.h>

#include "simulator/Bridge.h"
#include "simulator/ChildProcess.h"
#include "simulator/House.h"
#include "simulator/JsonText.h"

namespace {

using simulator::ChildProcess;

class InstalledExample : public testing::Test {
  protected:
    void SetUp() override {
        if (!bridge.is_discoverable()) {
            GTEST_SKIP() << "a search reaches the bridge in a private sandbox only";
        }
    }

    static ChildProcess::Result dims(const ChildProcess::Words& words) {
        return ChildProcess::run(EXAMPLE_PATH, words, {}, std::chrono::seconds(30));
    }

    simulator::Bridge bridge{
        {"guest", simulator::load_json_file(simulator::House::sample_lights())}};
};

TEST_F(InstalledExample, FindsTheBridgeAndDimsALight) {
    const ChildProcess::Result result = dims({"4", "50", "guest"});
    EXPECT_EQ(result.exit_code(), 0) << result.errors;
    EXPECT_EQ(bridge.light(4).brightness(), 127U);
}

TEST_F(InstalledExample, TellsOfALightThatIsNotThere) {
    const ChildProcess::Result result = dims({"99", "50", "guest"});
    EXPECT_EQ(result.exit_code(), 1);
    EXPECT_NE(result.errors.find("light id is not valid"), std::string::npos) << result.errors;
}

}  // namespace
