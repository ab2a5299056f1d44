// What the fault matrix does not show, or only in rows that take minutes.
#include <chrono>
#include <csignal>
#include <vector>

#include <sys/resource.h>

#include "HouseTest.h"

namespace {

class Failures : public HouseTest {
  protected:
    using Clock = std::chrono::steady_clock;

    /// Sends a command that the bridge takes and does not answer.
    void hangs_in_a_command() {
        const int before = house.bridge().gate().connections();
        house.bridge().stalls(1);
        runs(111, "1");
        ASSERT_TRUE(eventually([&] { return house.bridge().gate().connections() > before; }));
    }
};

TEST_F(Failures, OfTheBridgeAtTheStartAreLoggedLightByLight) {
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

TEST_F(Failures, AHungBridgeCostsOneTimeOutAndTheCoreNothing) {
    start();
    hangs_in_a_command();
    const auto asked = Clock::now();
    runs(121, "0");
    EXPECT_LT(Clock::now() - asked, std::chrono::seconds(2));
    EXPECT_TRUE(logs("Resource temporarily unavailable (light id = 1)"));
    EXPECT_TRUE(light_is(2, "on", "false"));
    EXPECT_EQ(house.bridge().count("PUT", "/lights/1/state"), 1) << "not retried";
}

TEST_F(Failures, ManySilentPeersAndFewDescriptorsDelayNobody) {
    start();
    const rlimit few{24, 24};
    ASSERT_EQ(prlimit(house.daemon().pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::vector<FileDescriptor> silent;
    for (int command = 0; command < 20; ++command) {
        for (int i = 0; i < 5; ++i) {
            silent.push_back(house.core().connects());
        }
        const auto asked = Clock::now();
        runs(111, command % 2 == 0 ? "0" : "1");
        EXPECT_LT(Clock::now() - asked, std::chrono::milliseconds(700));
    }
    runs(122, "20");
    EXPECT_TRUE(light_is(2, "bri", "50")) << "the bridge must be reached with what is left";
}

TEST_F(Failures, TermEndsTheProcessAtOnceWhileTheBridgeHangs) {
    start();
    hangs_in_a_command();
    house.daemon().signals(SIGTERM);
    const auto ending = house.daemon().wait(std::chrono::seconds(5));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->text(), "exit code 0");
    expects_end = true;
}

}  // namespace
