// Failures that the fault matrix does not cover, or only in rows that take minutes.
#include <chrono>
#include <csignal>
#include <vector>

#include <sys/resource.h>

#include "HouseTest.h"

namespace {

class Failures : public HouseTest {
  protected:
    using Clock = std::chrono::steady_clock;

    /// Sends a command that the bridge does not answer.
    void hang_in_command() {
        const int before = house.bridge().gate().connections();
        house.bridge().inject_fault("stall", 1);
        run_object(111, "1");
        ASSERT_TRUE(wait_until([&] { return house.bridge().gate().connections() > before; }));
    }
};

TEST_F(Failures, BridgeDownAtStartUpIsLoggedForEveryLight) {
    house.bridge().inject_fault("cut");
    const auto status = house.start();
    ASSERT_TRUE(status && status->status == 0);
    EXPECT_TRUE(wait_for_log("Connection refused (light id = 1)"));
    EXPECT_TRUE(wait_for_log("Connection refused (light id = 6)"));
    run_object(141, "1");
    EXPECT_TRUE(wait_for_log(
        "Request manager thread error: Error in Hue peekLight(): light id is not valid"));
    EXPECT_TRUE(wait_for_log("(bridge disconnected)"));
}

TEST_F(Failures, HangingBridgeCausesOneTimeOutAndDoesNotBlockTheCore) {
    start();
    hang_in_command();
    const auto asked = Clock::now();
    run_object(121, "0");
    EXPECT_LT(Clock::now() - asked, std::chrono::seconds(2));
    EXPECT_TRUE(wait_for_log("Resource temporarily unavailable (light id = 1)"));
    EXPECT_TRUE(wait_for_light(2, "on", "false"));
    EXPECT_EQ(house.bridge().count("PUT", "/lights/1/state"), 1) << "not retried";
}

TEST_F(Failures, SilentPeersAndFewDescriptorsDelayNoCommand) {
    start();
    const rlimit few{24, 24};
    ASSERT_EQ(prlimit(house.daemon().pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::vector<FileDescriptor> silent;
    for (int command = 0; command < 20; ++command) {
        for (int i = 0; i < 5; ++i) {
            silent.push_back(house.core().connect_to_daemon());
        }
        const auto asked = Clock::now();
        run_object(111, command % 2 == 0 ? "0" : "1");
        EXPECT_LT(Clock::now() - asked, std::chrono::milliseconds(700));
    }
    run_object(122, "20");
    EXPECT_TRUE(wait_for_light(2, "bri", "50")) << "no descriptor was left for the bridge";
}

TEST_F(Failures, SigtermEndsTheProcessAtOnceWhileTheBridgeHangs) {
    start();
    hang_in_command();
    house.daemon().send_signal(SIGTERM);
    const auto ending = house.daemon().wait(std::chrono::seconds(5));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->text(), "exit code 0");
    expects_end = true;
}

}  // namespace
