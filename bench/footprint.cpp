// Memory, CPU, start time and size of the idle daemon. The yardstick is Debian's mosquitto, a small
// network daemon, idle and with its default settings.
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "bench/Fixture.h"
#include "bench/TemporaryFolder.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using simulator::ChildProcess;
using simulator::ProcessUse;

constexpr const char* kStrip = "/usr/bin/strip";
constexpr int kLights = 10;

struct Broker {
    std::string program;   // path; empty without mosquitto
    std::string settings;  // path of its configuration file
};

// Returns when mosquitto logs that it is running; null without mosquitto.
std::unique_ptr<ChildProcess> start(const Broker& broker) {
    if (broker.program.empty()) {
        return nullptr;
    }
    auto process = std::make_unique<ChildProcess>(ChildProcess::Setup{
        broker.program, {"-c", broker.settings}, {}, ChildProcess::kWithOutput});
    while (const auto line = process->read_line(simulator::House::kStartLimit)) {
        if (line->find("running") != std::string::npos) {
            return process;
        }
    }
    throw std::runtime_error("mosquitto did not start");
}

double stripped_kib(const std::string& program) {
    const TemporaryFolder folder;
    const fs::path copy = folder.path() / "stripped";
    const auto result = ChildProcess::run(kStrip, {"-o", copy.string(), program}, {},
                                          simulator::House::kStartLimit);
    if (result.code != 0) {
        throw std::runtime_error("strip: " + result.errors);
    }
    return static_cast<double>(fs::file_size(copy)) / 1024;
}

void measure_start(const Plan& plan, const Broker& broker, Report& report) {
    simulator::House house(options_of(kLights, plan.daemon));
    Samples ours;
    Samples theirs;
    for (int round = 0; round < plan.rounds(15, 2); ++round) {
        double before = now_ms();
        port_of(house.start());
        ours.push_back(now_ms() - before);
        house.stop();
        before = now_ms();
        if (const auto process = start(broker)) {
            theirs.push_back(now_ms() - before);
        }
    }
    report.add("from exec to running", "ms", ours, theirs, "<= 20");
}

std::vector<ProcessUse> uses_of(const std::vector<pid_t>& programs,
                                ProcessUse (*measure)(pid_t process)) {
    std::vector<ProcessUse> uses;
    for (const pid_t program : programs) {
        uses.push_back(checked(measure(program)));
    }
    return uses;
}

// Of each program at the end of the period, with the CPU time and wake-ups of the period alone.
std::vector<ProcessUse> uses_while_idle(const std::vector<pid_t>& programs, double period_ms) {
    const auto start = uses_of(programs, &ProcessUse::of);
    wait_ms(period_ms);
    const auto end = uses_of(programs, &ProcessUse::of);
    auto idle = uses_of(programs, &ProcessUse::at_rest);
    for (std::size_t i = 0; i < programs.size(); ++i) {
        idle[i].cpu_seconds = end[i].cpu_seconds - start[i].cpu_seconds;
        idle[i].wakeups = end[i].wakeups - start[i].wakeups;
    }
    return idle;
}

// Both idle at the same time, under the same load of the machine.
void measure_idling(const Plan& plan, const Broker& broker, Report& report) {
    Fixture fixture(plan.daemon, kLights);
    const auto process = start(broker);
    std::vector<pid_t> programs{fixture.pid()};
    if (process) {
        programs.push_back(process->pid());
    }
    const double period_ms = plan.rounds(21000.0, 3000.0);  // a multiple of the poll period
    std::vector<std::vector<ProcessUse>> rounds;
    for (int round = 0; round < plan.rounds(3, 1); ++round) {
        rounds.push_back(uses_while_idle(programs, period_ms));
    }
    const auto add = [&](const char* figure, const char* unit, auto member, double factor = 1,
                         const char* goal = "") {
        Samples samples[2];
        for (const auto& uses : rounds) {
            for (std::size_t i = 0; i < uses.size(); ++i) {
                samples[i].push_back(static_cast<double>(uses[i].*member) * factor);
            }
        }
        report.add(figure, unit, samples[0], samples[1], goal);
    };
    add("resident memory", "KiB", &ProcessUse::resident_kib);
    add("proportional memory", "KiB", &ProcessUse::proportional_kib);
    add("private memory", "KiB", &ProcessUse::private_kib, 1, "ratio <= 1");
    add("threads", "", &ProcessUse::threads);
    add("descriptors", "", &ProcessUse::descriptors);
    add("CPU while idle", "ms a minute", &ProcessUse::cpu_seconds, 1000 * 60000 / period_ms,
        "ratio <= 1");
    add("wake-ups while idle", "a second", &ProcessUse::wakeups, 1000 / period_ms);
    report.add("size of the stripped program", "KiB", {stripped_kib(plan.daemon)},
               process ? Samples{stripped_kib(broker.program)} : Samples{});
}

}  // namespace

void measure_footprint(const Plan& plan, Report& report) {
    const TemporaryFolder folder;
    const Broker broker{has_program(plan.broker) ? plan.broker : "", folder.path() / "settings"};
    // mosquitto cannot change to its own user in a sandbox that an ordinary user has made.
    std::ofstream(broker.settings) << "user root\n";
    measure_start(plan, broker, report);
    measure_idling(plan, broker, report);
}

}  // namespace bench
