// A failed measurement must not produce a figure.
#include <stdexcept>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "bench/ProcessCost.h"
#include "bench/Report.h"
#include "simulator/process/ChildProcess.h"

namespace {

const bench::Goal kNoMore{bench::Goal::Of::ratio, bench::Goal::Side::at_most, 1};

// An ended process that is not reaped; its entry in /proc stays.
class EndedProcess final {
  public:
    EndedProcess() : process_({"/bin/true"}) {
        siginfo_t ignored{};
        waitid(P_PID, static_cast<id_t>(pid()), &ignored, WEXITED | WNOWAIT);
    }
    pid_t pid() const { return process_.pid(); }

  private:
    simulator::ChildProcess process_;
};

TEST(Measurements, EndedProcessHasNoMemoryFigure) {
    const EndedProcess process;
    EXPECT_THROW(bench::Memory::of(process.pid()), std::runtime_error);
}

TEST(Measurements, EndedThreadHasNoCpuFigure) {
    const pid_t no_thread = 0;
    EXPECT_THROW(bench::Cost::of_thread(getpid(), no_thread), std::runtime_error);
}

TEST(Measurements, AGoalIsNotMetBesideAYardstickThatCountedNothing) {
    bench::Report report;
    report.add({"subject", "figure", "ms", {0}, {0}, kNoMore});
    EXPECT_EQ(report.goals_not_judged(), 1U);
    EXPECT_FALSE(report.json()[0].isMember("is_met"));
    EXPECT_FALSE(report.json()[0].isMember("ratio"));
}

}  // namespace
