// Cost of a poll, and how it grows with the number of lights.
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <stdexcept>

#include "bench/Fixture.h"
#include "bench/TemporaryFolder.h"
#include "bench/Wire.h"
#include "simulator/JsonText.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using simulator::ProcessUse;

constexpr const char* kValgrind = "/usr/bin/valgrind";
constexpr const char* kStrace = "/usr/bin/strace";
constexpr int kReferenceLights = 50;
constexpr double kReadBytes = 127;  // the largest piece that the daemon reads of an answer

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

double bytes_of(const std::vector<Wire::Packet>& packets) {
    return std::accumulate(packets.begin(), packets.end(), 0.0,
                           [](double sum, const Wire::Packet& packet) {
                               return sum + static_cast<double>(packet.bytes);
                           });
}

double number_after(const std::string& word, const fs::path& file) {
    std::ifstream words(file);
    std::string next;
    double number = 0;
    while (next != word && words >> next) {
    }
    if (!(words >> number) || number <= 0) {
        throw std::runtime_error(file.string() + " has no number after " + word);
    }
    return number;
}

// Of the polling thread only, which sleeps between the polls.
double system_calls_of_a_poll(Fixture& fixture, int polls) {
    const TemporaryFolder folder;
    const std::string file = folder.path() / "calls";
    const std::string thread = std::to_string(fixture.monitor());
    const int before = fixture.polls();
    simulator::ChildProcess strace({kStrace,
                                    {"-qq", "-c", "-U", "name,calls", "-o", file, "-p", thread},
                                    {},
                                    simulator::ChildProcess::kWithOutput});
    fixture.await_polls(polls);
    strace.send_signal(SIGINT);
    strace.wait(std::chrono::seconds(5));
    return number_after("total", file) / (fixture.polls() - before);
}

// callgrind counts within poll() only.
double instructions_of_a_poll(const Plan& plan, int lights) {
    const TemporaryFolder folder;
    const fs::path counts = folder.path() / "counts";
    const fs::path script = folder.path() / "counted";
    std::ofstream(script) << "#!/bin/sh\nexec " << kValgrind
                          << " -q --tool=callgrind --callgrind-out-file=" << counts
                          << " --toggle-collect='hue_handler::HueHandler::poll()' "
                          << fs::absolute(plan.daemon) << " \"$@\"\n";
    fs::permissions(script, fs::perms::owner_all);
    int polls = 0;
    {
        Fixture fixture(script, lights);
        fixture.await_polls(plan.rounds(1, 0));  // a ready daemon has polled once
        polls = fixture.polls();
    }
    // Fails for a stripped program, which lacks the name of the function.
    return number_after("totals:", counts) / polls;
}

void measure_house(const Plan& plan, int lights, const std::string& of, Report& report) {
    Fixture fixture(plan.daemon, lights);
    const std::string answer = simulator::compact_json(options_of(lights, "").installation.lights);
    const auto cpu_ms = [&] {
        return checked(ProcessUse::of_thread(fixture.monitor())).cpu_seconds * 1000;
    };
    Samples ours;
    Samples theirs;
    const Wire wire;
    const int before_all = fixture.polls();
    for (int i = 0; i < plan.rounds(5, 1); ++i) {
        const double before = cpu_ms();
        fixture.await_polls(1);
        ours.push_back(cpu_ms() - before);
        theirs.push_back(parse_ms(answer));
    }
    const double polls = fixture.polls() - before_all;
    const auto requests = static_cast<double>(wire.packets(&Wire::Packet::opens_to_bridge).size());
    const double answer_bytes = bytes_of(wire.packets(&Wire::Packet::is_from_bridge)) / polls;
    report.add("requests" + of, "", {requests / polls}, {1}, "= 1");
    report.add("request" + of, "bytes",
               {bytes_of(wire.packets(&Wire::Packet::is_to_bridge)) / polls});
    report.add("answer" + of, "bytes", {answer_bytes});
    if (has_program(kStrace)) {
        report.add("system calls" + of, "", {system_calls_of_a_poll(fixture, plan.rounds(2, 1))},
                   {answer_bytes / kReadBytes});
    }
    report.add("CPU" + of, "ms", ours, theirs, lights == kReferenceLights ? "<= 2" : "");
}

}  // namespace

void measure_poll(const Plan& plan, Report& report) {
    const auto houses = plan.rounds<std::vector<int>>({1, 10, kReferenceLights, 63}, {1, 4});
    const bool counts = has_program(kValgrind);
    Samples lights;
    Samples instructions;
    for (const int count : houses) {
        const std::string of = ", " + std::to_string(count) + (count == 1 ? " light" : " lights");
        measure_house(plan, count, of, report);
        if (counts) {
            lights.push_back(count);
            instructions.push_back(instructions_of_a_poll(plan, count));
            report.add("instructions" + of, "", {instructions.back()});
        }
    }
    if (counts) {
        const Line line = Line::through(lights, instructions);
        report.add("instructions, fixed part", "", {line.fixed});
        report.add("instructions a light", "", {line.slope});
        // One light has one class, more lights have mixed classes. Any two points are on a line.
        report.add("deviation from that line", "", {line.largest_deviation}, {},
                   houses.size() > 2 ? "<= 0.05" : "");
    }
}

}  // namespace bench
