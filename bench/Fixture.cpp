#include "bench/Fixture.h"

#include <chrono>
#include <fstream>
#include <stdexcept>

#include <unistd.h>

#include "bench/ProcessCost.h"
#include "simulator/JsonText.h"

namespace bench {
namespace {

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

Installation::Installation(int lights) : files_(lights) {
    Json::Value all = simulator::load_json_file(files_.lights_file());
    const Json::Value more = *simulator::parse_json(kMoreOfALight);
    for (const std::string& number : all.getMemberNames()) {
        for (const std::string& name : more.getMemberNames()) {
            all[number][name] = more[name];
        }
    }
    std::ofstream(files_.lights_file()) << simulator::compact_json(all);
}

simulator::House::Options Installation::house_options(const std::string& daemon) const {
    simulator::House::Options options;
    options.daemon = daemon;
    options.sql_file = sql_file();
    options.lights_file = lights_file();
    return options;
}

Fixture::Fixture(const Plan& plan, int lights, const std::string& daemon)
    : installation_(lights),
      house_(installation_.house_options(daemon.empty() ? plan.daemon : daemon)) {
    const auto status = house_.start();
    if (!status || status->status != 0) {
        throw std::runtime_error("the daemon did not start");
    }
    port_ = status->port;
    if (!house_.wait_until([this] { return house_.is_ready(); }, kReadyLimit)) {
        throw std::runtime_error("the daemon did not read its lights");
    }
    wait_ms(kEndOfPollMs);
}

pid_t Fixture::monitor() {
    return threads_of(pid()).at(kMonitor);
}

simulator::House::RoleObject Fixture::object(const std::string& role) {
    int light = 0;
    for (const auto& object : house_.objects()) {
        light = object.role == "hsv" && light == 0 ? object.light : light;
    }
    for (const auto& object : house_.objects()) {
        if (object.light == light && object.role == role) {
            return object;
        }
    }
    throw std::runtime_error("no light of the installation has every role");
}

void Fixture::await_polls(int count) {
    const int before = polls();
    for (int i = 1; i <= count; ++i) {
        if (!house_.wait_until([&] { return polls() >= before + i; }, kPollLimit)) {
            throw std::runtime_error("the daemon does not poll");
        }
    }
    wait_ms(kEndOfPollMs);
}

bool has_program(const std::string& path) {
    if (access(path.c_str(), X_OK) == 0) {
        return true;
    }
    Report::say(path + " not found: its rows are left out");
    return false;
}

}  // namespace bench
