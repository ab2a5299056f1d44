// Memory, CPU, start time and size of the idle daemon. The yardstick is Debian's mosquitto, a small
// network daemon, idle and with its default settings.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "bench/Fixture.h"
#include "bench/ProcessCost.h"
#include "simulator/process/ProcessUse.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kStrip = "/usr/bin/strip";
constexpr int kLights = 10;
constexpr double kGoalStartMs = 20;
constexpr double kPeriodMs = 21000;  // idle time; a multiple of the poll period
constexpr double kQuickPeriodMs = 3000;
constexpr std::chrono::seconds kStartLimit{10};

const Goal kNoMore{Goal::Of::ratio, Goal::Side::at_most, 1};

struct Broker {
    std::string program;
    std::string settings;  // path of its configuration file
    bool is_there = false;
};

// Returns when mosquitto logs that it is running.
std::unique_ptr<simulator::ChildProcess> start_broker(const Broker& broker) {
    auto is_running = std::make_shared<bool>(false);
    const auto listener = [is_running](const std::string& line) {
        *is_running = *is_running || line.find("running") != std::string::npos;
    };
    auto process = std::make_unique<simulator::ChildProcess>(simulator::ChildProcess::Setup{
        broker.program, {"-c", broker.settings}, {}, true, listener});
    const auto deadline = Clock::now() + kStartLimit;
    while (!*is_running) {
        if (!process->read_output(kStartLimit) || Clock::now() > deadline) {
            throw std::runtime_error("mosquitto did not start");
        }
    }
    return process;
}

double ms_since(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double stripped_kib(const std::string& program) {
    const simulator::TemporaryFolder folder;
    const fs::path copy = folder.path() / "stripped";
    const auto result = simulator::ChildProcess::run(kStrip, {"-o", copy.string(), program}, {},
                                                     std::chrono::seconds(10));
    if (result.exit_code() != 0) {
        throw std::runtime_error("strip: " + result.errors);
    }
    return static_cast<double>(fs::file_size(copy)) / 1024;
}

void measure_start(const Plan& plan, Report& report, const Broker& broker) {
    const Installation installation(kLights);
    simulator::House house(installation.house_options(plan.daemon));
    Row row{"footprint", "from exec to running",
            "ms",        {},
            {},          Goal{Goal::Of::value, Goal::Side::at_most, kGoalStartMs}};
    for (int round = 0; round < plan.rounds(15, 2); ++round) {
        auto start = Clock::now();
        const auto status = house.start();
        if (!status || status->status != 0) {
            throw std::runtime_error("the daemon did not start");
        }
        row.values.push_back(ms_since(start));
        house.stop();
        if (broker.is_there) {
            start = Clock::now();
            const auto process = start_broker(broker);
            row.yardstick.push_back(ms_since(start));
        }
    }
    report.add(row);
}

// One sample for each round.
struct Idling {
    Samples resident_kib;
    Samples proportional_kib;
    Samples private_kib;
    Samples threads;
    Samples descriptors;
    Samples cpu_ms;   // per minute
    Samples wakeups;  // per second

    void add(pid_t process, const Cost& cost, double period_ms) {
        const Memory memory = Memory::of(process);
        resident_kib.push_back(memory.resident_kib);
        proportional_kib.push_back(memory.proportional_kib);
        private_kib.push_back(memory.private_kib);
        const auto use = simulator::ProcessUse::at_rest(process);
        threads.push_back(static_cast<double>(use.threads));
        descriptors.push_back(static_cast<double>(use.descriptors));
        cpu_ms.push_back(cost.cpu_ms / period_ms * 60000);
        wakeups.push_back(cost.wakeups / period_ms * 1000);
    }
};

// Both idle at the same time, under the same load of the machine.
void measure_idling(const Plan& plan, Report& report, const Broker& broker) {
    Fixture fixture(plan, kLights);
    const auto process = broker.is_there ? start_broker(broker) : nullptr;
    const double period = plan.rounds(kPeriodMs, kQuickPeriodMs);
    Idling ours;
    Idling theirs;
    for (int round = 0; round < plan.rounds(3, 1); ++round) {
        const Cost our_start = Cost::of_process(fixture.pid());
        const Cost their_start = process ? Cost::of_process(process->pid()) : Cost{};
        wait_ms(period);
        ours.add(fixture.pid(), Cost::of_process(fixture.pid()) - our_start, period);
        if (process) {
            theirs.add(process->pid(), Cost::of_process(process->pid()) - their_start, period);
        }
    }
    const auto add = [&](const std::string& figure, const std::string& unit,
                         const Samples Idling::*samples, std::optional<Goal> goal = {}) {
        report.add({"footprint", figure, unit, ours.*samples, theirs.*samples, goal});
    };
    add("resident memory", "KiB", &Idling::resident_kib);
    add("proportional memory", "KiB", &Idling::proportional_kib);
    add("private memory", "KiB", &Idling::private_kib, kNoMore);
    add("threads", "", &Idling::threads);
    add("descriptors", "", &Idling::descriptors);
    add("CPU while idle", "ms a minute", &Idling::cpu_ms, kNoMore);
    add("wake-ups while idle", "a second", &Idling::wakeups);
    report.add({"footprint",
                "size of the stripped program",
                "KiB",
                {stripped_kib(plan.daemon)},
                broker.is_there ? Samples{stripped_kib(broker.program)} : Samples{}});
}

}  // namespace

void measure_footprint(const Plan& plan, Report& report) {
    const simulator::TemporaryFolder folder;
    const Broker broker{plan.broker, folder.path() / "settings", has_program(plan.broker)};
    // mosquitto cannot change to its own user in a sandbox that an ordinary user has made.
    std::ofstream(broker.settings) << "user root\n";
    measure_start(plan, report, broker);
    measure_idling(plan, report, broker);
}

}  // namespace bench
