#include "bench/Fixture.h"

#include <cstdio>
#include <stdexcept>
#include <thread>

#include <unistd.h>

#include "simulator/JsonText.h"

namespace bench {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::chrono::seconds kReadyLimit{400};  // for many lights under valgrind
constexpr std::chrono::seconds kPollLimit{20};
// A poll takes milliseconds, under valgrind a second; the next one starts after three.
constexpr double kEndOfPollMs = 1500;
constexpr std::size_t kMonitor = 2;  // main thread, request worker, state monitor

// Members that a real bridge sends for each light and the sample installation lacks.
constexpr const char* kMoreOfALight =
    R"({"swupdate": {"state": "noupdates", "lastinstall": "2026-03-02T11:04:17"},
        "capabilities": {"certified": true, "control": {"mindimlevel": 200, "maxlumen": 806,
            "colorgamuttype": "C",
            "colorgamut": [[0.6915, 0.3083], [0.17, 0.7], [0.1532, 0.0475]],
            "ct": {"min": 153, "max": 500}},
            "streaming": {"renderer": true, "proxy": true}},
        "config": {"archetype": "sultanbulb", "function": "mixed", "direction": "omnidirectional",
            "startup": {"mode": "safety", "configured": true}},
        "swconfigid": "3416C2DD", "productid": "Philips-LCT015-1-A19ECLv5"})";

}  // namespace

simulator::House::Options options_of(int lights, const std::string& daemon) {
    simulator::House::Options options;
    options.daemon = daemon;
    options.installation = simulator::Installation::of_lights(lights);
    const Json::Value more = *simulator::parse_json(kMoreOfALight);
    for (Json::Value& light : options.installation.lights) {
        for (const std::string& name : more.getMemberNames()) {
            light[name] = more[name];
        }
    }
    return options;
}

Fixture::Fixture(const std::string& daemon, int lights)
    : house_(options_of(lights, daemon)), port_(port_of(house_.start())) {
    if (!house_.wait_until([this] { return house_.is_ready(); }, kReadyLimit)) {
        throw std::runtime_error("the daemon did not read its lights");
    }
    monitor_ = simulator::ProcessUse::threads_of(pid()).at(kMonitor);
    wait_ms(kEndOfPollMs);
}

simulator::RoleObject Fixture::object(const std::string& role) {
    const auto objects = house_.objects();
    for (const auto& hsv : objects) {
        for (const auto& object : objects) {
            if (hsv.role == "hsv" && object.light == hsv.light && object.role == role) {
                return object;
            }
        }
    }
    throw std::runtime_error("no light of the installation has every role");
}

void Fixture::command(int object, const std::string& payload) {
    if (house_.core().run_object(object, payload) != 0) {
        throw std::runtime_error("the daemon refused a command");
    }
}

void Fixture::await_polls(int count) {
    const int before = polls();
    if (!house_.wait_until([&] { return polls() >= before + count; }, kPollLimit * count)) {
        throw std::runtime_error("the daemon does not poll");
    }
    wait_ms(kEndOfPollMs);
}

bool has_program(const std::string& path) {
    if (access(path.c_str(), X_OK) == 0) {
        return true;
    }
    std::printf("# %s not found: its rows are left out\n", path.c_str());
    return false;
}

int port_of(std::optional<int> port) {
    if (port.value_or(-1) < 0) {
        throw std::runtime_error("a program did not start");
    }
    return *port;
}

simulator::ProcessUse checked(const simulator::ProcessUse& use) {
    const bool is_process = use.threads > 0;
    if (use.cpu_seconds <= 0 || (is_process && use.proportional_kib == 0)) {
        throw std::runtime_error("a process has ended, or the kernel does not count its use");
    }
    return use;
}

double ms_of(std::chrono::steady_clock::time_point time) {
    return Milliseconds(time.time_since_epoch()).count();
}

double now_ms() {
    return ms_of(std::chrono::steady_clock::now());
}

void wait_ms(double length) {
    std::this_thread::sleep_for(Milliseconds(length));
}

}  // namespace bench
