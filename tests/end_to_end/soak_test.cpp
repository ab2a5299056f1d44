#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/Soak.h"
#include "simulator/SoakLedger.h"

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

// The light turned on by itself, which the core is told behind the poll: to turn it on is needless.
TEST(SoakLedgerTest, JudgesACommandByWhatThePollBeforeItReported) {
    simulator::SoakLedger ledger;
    ledger.knows({{11, 1, "on_off", ""}, {12, 1, "value", ""}});
    const auto answers = [&ledger](const char* path, const std::string& answer,
                                   const std::vector<simulator::Core::Report>& told = {}) {
        ledger.takes_exchange({std::chrono::steady_clock::now(), "GET", path, ""}, answer, told);
    };
    const std::string is_off = R"({"state":{"on":false,"bri":9}})";
    const std::string is_on = R"({"1":{"state":{"on":true,"bri":9}}})";
    answers("/api/user/lights/1", is_off);
    answers("/api/user/lights", R"({"1":)" + is_off + "}");
    answers("/api/user/lights", is_on);
    for (int i = 0; i < 2; ++i) {
        ledger.sends({11, 1});
        ledger.takes_line("info: -- Received request: obj_id 11, value 1");
    }
    answers("/api/user/lights", is_on, {{11, "1", ""}});
    EXPECT_EQ(ledger.counts().needless, 2U);
    EXPECT_EQ(ledger.faults(), std::vector<std::string>());
    EXPECT_EQ(ledger.open(), 0U);
}

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
