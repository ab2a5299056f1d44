// bench: measures the daemon and prints one table, each figure next to its yardstick.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "bench/Fixture.h"
#include "simulator/process/Sandbox.h"

namespace {

using bench::Plan;
using bench::Report;

const std::vector<std::pair<std::string, void (*)(const Plan&, Report&)>> kSubjects = {
    {"endpoint", bench::measure_endpoint},   {"dispatch", bench::measure_dispatch},
    {"sustained", bench::measure_sustained}, {"poll", bench::measure_poll},
    {"change", bench::measure_change},       {"footprint", bench::measure_footprint},
    {"scale", bench::measure_scale},
};

void write_json(const Report& report, const std::string& path) {
    if (!path.empty() && !(std::ofstream(path) << report.json().toStyledString() << std::flush)) {
        throw std::runtime_error("cannot write " + path);
    }
}

int run(int argc, char** argv) {
    Plan plan{LUMIVAD_PATH, ECHO_PATH, "/usr/sbin/mosquitto"};
    std::vector<std::string> wanted;
    std::string json_file;
    CLI::App app("Measures the daemon in a simulated house, each figure next to its yardstick.");
    app.add_option("subjects", wanted, "what to measure; default: everything")
        ->check(CLI::IsMember(kSubjects));
    app.add_flag("--quick", plan.is_quick, "few rounds: check that every row appears");
    app.add_option("--json", json_file, "also write the table as JSON to this file");
    app.add_option("--daemon", plan.daemon, "path of the daemon")->capture_default_str();
    app.add_option("--broker", plan.broker, "path of mosquitto, the yardstick")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    write_json({}, json_file);  // fails now, not after minutes of measuring
    // While there is only one thread.
    const simulator::Sandbox sandbox = simulator::Sandbox::enter();
    if (!sandbox.is_private()) {
        throw std::runtime_error("cannot create a network namespace: " + sandbox.reason());
    }
    Report report;
    for (const auto& [name, measure] : kSubjects) {
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end()) {
            report.begin(name);
            measure(plan, report);
        }
    }
    write_json(report, json_file);
    std::printf("%u rows, %d goals missed, %d not judged\n", report.json().size(),
                report.missed_goals(), report.goals_not_judged());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "bench: %s\n", problem.what());
        return EXIT_FAILURE;
    }
}
