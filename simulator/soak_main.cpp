// soak: runs the daemon in a simulated house under load and checks every command.
#include <cstdio>
#include <exception>
#include <random>
#include <string>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include "simulator/Soak.h"
#include "simulator/process/Sandbox.h"

namespace {

using simulator::Soak;

constexpr int kExitFailure = 1;
constexpr int kMostLights = 255;

// build/release/simulator/soak runs build/release/src/lumivad.
std::string daemon_beside() {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
    const std::string self(path, static_cast<std::size_t>(length > 0 ? length : 0));
    const std::string folder = self.substr(0, self.rfind('/'));
    return folder.substr(0, folder.rfind('/')) + "/src/lumivad";
}

void print(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);  // a run of hours is watched through a file
}

int run(int argc, char** argv) {
    Soak::Plan plan;
    plan.daemon = daemon_beside();
    plan.seed = std::random_device()();
    double minutes = 60;
    std::size_t burst = 0;
    std::size_t awaited = 200;
    CLI::App app(
        "Runs the daemon in a simulated house under load. Checks every command, and at the end "
        "compares the core's values, what the daemon stored and the bulbs.");
    app.add_option("minutes", minutes, "duration of the load in minutes")
        ->check(CLI::Range(0.1, 100000.0))
        ->capture_default_str();
    app.add_option("--lights", plan.lights, "number of lights")
        ->check(CLI::Range(1, kMostLights))
        ->capture_default_str();
    app.add_option("--seed", plan.seed, "seed of the random commands and changes, to repeat a run");
    app.add_option("--burst", burst, "instead of the load: number of commands to send at once")
        ->check(CLI::PositiveNumber);
    app.add_option("--await", awaited, "with --burst: number of commands to carry out before QUIT")
        ->capture_default_str();
    app.add_option("--daemon", plan.daemon, "path of lumivad")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    plan.duration = std::chrono::seconds(static_cast<long>(minutes * 60));
    // Before the first thread starts.
    const simulator::Sandbox sandbox = simulator::Sandbox::enter();
    if (!sandbox.is_private()) {
        print("no namespaces (" + sandbox.reason() + "): using the loopback of this machine");
    }
    Soak soak(plan, print);
    const bool has_passed = burst > 0 ? soak.run_burst(burst, awaited) : soak.run();
    print(has_passed ? "passed" : "FAILED");
    return has_passed ? 0 : kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "soak: %s\n", problem.what());
        return kExitFailure;
    }
}
