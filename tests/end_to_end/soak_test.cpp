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

// The light was turned on at the bulb, and the poll reported it: a command to turn it on is
// needless.
TEST(SoakLedgerTest, JudgesACommandByWhatThePollBeforeItReported) {
    simulator::SoakLedger ledger;
    ledger.set_objects({{11, 1, "on_off", ""}, {12, 1, "value", ""}});
    const auto answers = [&ledger](const char* path, const std::string& answer,
                                   const std::vector<simulator::Core::Report>& reports = {}) {
        ledger.add_exchange({std::chrono::steady_clock::now(), "GET", path, ""}, answer, reports);
    };
    const std::string is_off = R"({"state":{"on":false,"bri":9}})";
    const std::string is_on = R"({"1":{"state":{"on":true,"bri":9}}})";
    answers("/api/user/lights/1", is_off);
    answers("/api/user/lights", R"({"1":)" + is_off + "}");
    answers("/api/user/lights", is_on);
    for (int i = 0; i < 2; ++i) {
        ledger.add_command({11, 1});
        ledger.add_log_line("info: -- Received request: obj_id 11, value 1");
    }
    answers("/api/user/lights", is_on, {{11, "1", ""}});
    EXPECT_EQ(ledger.counts().needless, 2U);
    EXPECT_EQ(ledger.faults(), std::vector<std::string>());
    EXPECT_EQ(ledger.open(), 0U);
}

// Fails for lost, doubled or reordered commands, for missing, wrong or needless reports, for
// requests that are sent too fast and for descriptors that are left open.
TEST_F(SoakTest, EveryCommandIsAccountedForAcrossAReboot) {
    Soak soak(plan(std::chrono::seconds(8)), print);
    EXPECT_TRUE(soak.run());
    EXPECT_GT(soak.counts().carried_out, 0U);
    EXPECT_GT(soak.counts().failed, 0U) << "no command failed during the reboot";
}

TEST_F(SoakTest, BurstIsCarriedOutInOrderAndTheRestIsCountedAtQuit) {
    // QUIT ends the threads. The handler of SIGTERM ends the process without joining them.
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
