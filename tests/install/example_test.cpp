// Runs the example, built against the installed library, against the simulated bridge.
#include <chrono>

#include <gtest/gtest.h>

#include "simulator/House.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"
#include "simulator/process/ChildProcess.h"

namespace {

using simulator::ChildProcess;

class InstalledExample : public testing::Test {
  protected:
    void SetUp() override {
        if (!bridge.is_discoverable()) {
            GTEST_SKIP() << "a search finds the bridge only in a private sandbox";
        }
    }

    static ChildProcess::Result run_example(const ChildProcess::Words& words) {
        return ChildProcess::run(EXAMPLE_PATH, words, {}, std::chrono::seconds(30));
    }

    simulator::Bridge bridge{
        {"guest", simulator::load_json_file(simulator::Installation::sample_lights())}};
};

TEST_F(InstalledExample, FindsTheBridgeAndDimsALight) {
    const ChildProcess::Result result = run_example({"4", "50", "guest"});
    EXPECT_EQ(result.exit_code(), 0) << result.errors;
    EXPECT_EQ(bridge.light(4).brightness(), 127U);
}

TEST_F(InstalledExample, ReportsAMissingLight) {
    const ChildProcess::Result result = run_example({"99", "50", "guest"});
    EXPECT_EQ(result.exit_code(), 1);
    EXPECT_NE(result.errors.find("light id is not valid"), std::string::npos) << result.errors;
}

}  // namespace
