#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "simulator/Soak.h"

namespace {

using simulator::Soak;

class SoakTest : public testing::Test {
  protected:
    static Soak::Plan plan(std::chrono::seconds duration) {
        Soak::Plan plan;
        plan.daemon = LUMIVAD_PATH;
        plan.lights = 6;
        plan.duration = duration;
        return plan;
    }
    static void print(const std::string& line) { std::cout << line << "\n"; }
};

// Lost, doubled or reordered commands, reports that are missing, wrong or too many, requests that
// come too fast, descriptors left open: each breaks the accounts.
TEST_F(SoakTest, AccountsBalanceAfterABusyTimeWithAReboot) {
    Soak soak(plan(std::chrono::seconds(8)), print);
    EXPECT_TRUE(soak.run());
    EXPECT_GT(soak.counts().carried_out, 0U);
    EXPECT_GT(soak.counts().failed, 0U) << "the reboot was to meet commands";
}

TEST_F(SoakTest, BurstBeyondAllPacingIsCarriedOutInOrderAndItsRestCounted) {
    // QUIT ends the threads and SIGTERM the process, in whose handler nobody can join them.
    const char* options = std::getenv("TSAN_OPTIONS");
    const std::string more =
        std::string(options == nullptr ? "" : options) + " report_thread_leaks=0";
    setenv("TSAN_OPTIONS", more.c_str(), 1);
    constexpr std::size_t kCommands = 3000;
    constexpr std::size_t kAwaited = 20;
    Soak soak(plan(std::chrono::seconds(0)), print);
    EXPECT_TRUE(soak.run_burst(kCommands, kAwaited));
    EXPECT_GE(soak.counts().carried_out, kAwaited);
    EXPECT_GT(soak.counts().dropped, kCommands / 2);
}

}  // namespace
