// Cost of a poll, and how it grows with the number of lights.
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <sys/stat.h>

#include "bench/Fixture.h"
#include "bench/ProcessCost.h"
#include "bench/Wire.h"
#include "simulator/JsonText.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* kValgrind = "/usr/bin/valgrind";
constexpr const char* kStrace = "/usr/bin/strace";
constexpr int kReferenceLights = 50;
constexpr double kReadBytes = 127;  // the largest piece that the daemon reads of an answer
constexpr double kGoalCpuMs = 2;
constexpr double kGoalDeviation = 0.05;  // one light has one class, more lights have mixed classes

struct PollCost {
    double requests = 0;
    double request_bytes = 0;
    double answer_bytes = 0;
    Samples cpu_ms = {};
    Samples parse_ms = {};    // one for each round
    double system_calls = 0;  // 0 without strace
};

double thread_cpu_ms() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// The yardstick: only parsing the same answer as JSON.
double parse_ms(const std::string& answer) {
    Samples times;
    for (int i = 0; i < 5; ++i) {
        const double start = thread_cpu_ms();
        if (!simulator::parse_json(answer)) {
            throw std::runtime_error("the bridge's answer is not JSON");
        }
        times.push_back(thread_cpu_ms() - start);
    }
    return percentile(times, 0.5);
}

double sum_of_bytes(const std::vector<Wire::Packet>& packets) {
    double sum = 0;
    for (const Wire::Packet& packet : packets) {
        sum += static_cast<double>(packet.bytes);
    }
    return sum;
}

// The fourth column of the line "total" of strace's table.
double total_of_calls(const std::string& file) {
    std::ifstream table(file);
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        double share = 0;
        double seconds = 0;
        double per_call = 0;
        double calls = 0;
        if (line.find(" total") != std::string::npos &&
            words >> share >> seconds >> per_call >> calls) {
            return calls;
        }
    }
    throw std::runtime_error("strace printed no total");
}

// Of the polling thread only, which sleeps between the polls.
double system_calls_of_a_poll(Fixture& fixture, int polls) {
    const simulator::TemporaryFolder folder;
    const std::string file = folder.path() / "calls";
    const int before = fixture.polls();
    {
        simulator::ChildProcess strace(
            {kStrace,
             {"-qq", "-c", "-o", file, "-p", std::to_string(fixture.monitor())},
             {},
             true,
             {}});
        fixture.await_polls(polls);
        strace.send_signal(SIGINT);
        strace.wait(std::chrono::seconds(5));
    }
    return total_of_calls(file) / (fixture.polls() - before);
}

PollCost measure(const Plan& plan, int lights) {
    Fixture fixture(plan, lights);
    const std::string answer = simulator::load_text_file(fixture.installation().lights_file());
    const int polls = plan.rounds(5, 1);
    PollCost cost;
    {
        Wire wire;
        const int before_all = fixture.polls();
        for (int i = 0; i < polls; ++i) {
            const Cost before = Cost::of_thread(fixture.pid(), fixture.monitor());
            fixture.await_polls(1);
            cost.cpu_ms.push_back(
                (Cost::of_thread(fixture.pid(), fixture.monitor()) - before).cpu_ms);
            cost.parse_ms.push_back(parse_ms(answer));
        }
        const auto count = static_cast<double>(fixture.polls() - before_all);
        cost.requests = static_cast<double>(wire.packets(Wire::opens_to_bridge).size()) / count;
        cost.request_bytes = sum_of_bytes(wire.packets(Wire::is_to_bridge)) / count;
        cost.answer_bytes = sum_of_bytes(wire.packets(Wire::is_from_bridge)) / count;
    }
    if (has_program(kStrace)) {
        cost.system_calls = system_calls_of_a_poll(fixture, plan.rounds(2, 1));
    }
    return cost;
}

// A script that runs the daemon under callgrind, which counts within poll() only.
std::string write_wrapper(const Plan& plan, const fs::path& folder) {
    std::string path = (folder / "counted").string();
    std::ofstream(path) << "#!/bin/sh\nexec " << kValgrind
                        << " -q --tool=callgrind --toggle-collect='hue_handler::HueHandler::poll()'"
                        << " --callgrind-out-file=" << (folder / "counts").string() << " "
                        << fs::absolute(plan.daemon) << " \"$@\"\n";
    chmod(path.c_str(), 0700);
    return path;
}

double instructions_of_a_poll(const Plan& plan, int lights) {
    const simulator::TemporaryFolder folder;
    int polls = 0;
    {
        Fixture fixture(plan, lights, write_wrapper(plan, folder.path()));
        fixture.await_polls(plan.rounds(1, 0));  // a ready daemon has polled once
        polls = fixture.polls();
    }
    double total = 0;
    std::ifstream counts(folder.path() / "counts");
    for (std::string line; std::getline(counts, line);) {
        if (line.rfind("totals: ", 0) == 0) {
            total = std::stod(line.substr(line.find(' ')));
        }
    }
    if (!(total > 0)) {  // a stripped program lacks the name of the function
        throw std::runtime_error("callgrind counted nothing");
    }
    return total / polls;
}

}  // namespace

void measure_poll(const Plan& plan, Report& report) {
    const std::vector<int> houses =
        plan.is_quick ? std::vector<int>{1, 4} : std::vector<int>{1, 10, kReferenceLights, 63};
    const bool counts = has_program(kValgrind);
    Samples lights;
    Samples instructions;
    for (const int count : houses) {
        const std::string of = ", " + std::to_string(count) + (count == 1 ? " light" : " lights");
        const PollCost cost = measure(plan, count);
        report.add({"poll",
                    "requests" + of,
                    "",
                    {cost.requests},
                    {1},
                    Goal{Goal::Of::value, Goal::Side::exactly, 1}});
        report.add({"poll", "request" + of, "bytes", {cost.request_bytes}});
        report.add({"poll", "answer" + of, "bytes", {cost.answer_bytes}});
        if (cost.system_calls > 0) {
            report.add({"poll",
                        "system calls" + of,
                        "",
                        {cost.system_calls},
                        {cost.answer_bytes / kReadBytes}});
        }
        Row time{"poll", "CPU" + of, "ms", cost.cpu_ms, cost.parse_ms};
        if (count == kReferenceLights) {
            time.goal = Goal{Goal::Of::value, Goal::Side::at_most, kGoalCpuMs};
        }
        report.add(time);
        if (counts) {
            lights.push_back(count);
            instructions.push_back(instructions_of_a_poll(plan, count));
            report.add({"poll", "instructions" + of, "", {instructions.back()}});
        }
    }
    if (counts) {
        const Line line = Line::through(lights, instructions);
        report.add({"poll", "instructions, fixed part", "", {line.fixed}});
        report.add({"poll", "instructions a light", "", {line.slope}});
        Row deviation{"poll", "deviation from that line", "", {line.largest_deviation}};
        if (houses.size() > 2) {  // any two points are on a line
            deviation.goal = Goal{Goal::Of::value, Goal::Side::at_most, kGoalDeviation};
        }
        report.add(deviation);
    }
}

}  // namespace bench
