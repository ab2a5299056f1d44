// Runs the example, built against the installed library, against the simulated bridge.
#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "simulator/House.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"
#include "simulator/process/ChildProcess.h"

namespace {

TEST(InstalledExample, DimsALightThatItsBridgeHas) {
    if (!simulator::MulticastResponder::is_possible()) {
        GTEST_SKIP() << "a search finds the bridge only in a private sandbox";
    }
    simulator::Bridge bridge{
        {"guest", simulator::load_json_file(simulator::Installation::file("sample-lights.json"))}};
    const auto run_example = [](const std::string& light) {
        return simulator::ChildProcess::run(EXAMPLE_PATH, {light, "50", "guest"}, {},
                                            std::chrono::seconds(30));
    };
    const auto dimmed = run_example("4");
    EXPECT_EQ(dimmed.code, 0) << dimmed.errors;
    EXPECT_EQ(bridge.light(4).state("bri"), 127);
    const auto missing = run_example("99");
    EXPECT_EQ(missing.code, 1);
    EXPECT_NE(missing.errors.find("light id is not valid"), std::string::npos) << missing.errors;
}

}  // namespace
