// soak: runs the real daemon in a busy house for a long time and keeps accounts.
#include <cstdio>
#include <exception>
#include <random>
#include <string>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include "simulator/Sandbox.h"
#include "simulator/Soak.h"

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
        "Runs the daemon in a busy simulated house and compares, at the end, what the core "
        "holds, what the daemon stored and what the bulbs show.");
    app.add_option("minutes", minutes, "how long the house is busy")
        ->check(CLI::Range(0.1, 100000.0))
        ->capture_default_str();
    app.add_option("--lights", plan.lights, "how many lights")
        ->check(CLI::Range(1, kMostLights))
        ->capture_default_str();
    app.add_option("--seed", plan.seed, "repeats a run: the same commands and changes");
    app.add_option("--burst", burst, "instead: so many commands as fast as they are answered")
        ->check(CLI::PositiveNumber);
    app.add_option("--await", awaited, "carried out before a burst is broken off")
        ->capture_default_str();
    app.add_option("--daemon", plan.daemon, "the program to run")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    plan.duration = std::chrono::seconds(static_cast<long>(minutes * 60));
    // First, while there is one thread.
    const simulator::Sandbox sandbox = simulator::Sandbox::enter();
    if (!sandbox.is_private()) {
        print("no namespaces here (" + sandbox.reason() + "): on the machine's own loopback");
    }
    Soak soak(plan, print);
    const bool holds = burst > 0 ? soak.run_burst(burst, awaited) : soak.run();
    print(holds ? "all holds" : "!! it does not hold");
    return holds ? 0 : kExitFailure;
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
