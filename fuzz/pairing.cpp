// Pairing: the bridge's answers to the request for a user name.
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "fuzz/support/ScriptedBridge.h"
#include "huelib/HueFinder.h"

namespace {

using fuzzing::require;

constexpr std::size_t kMostAttempts = 34;  // one per second, the first after a second
const HueFinder::HueIdentification kBridge{"192.168.1.20", "001788fffe000001"};

void pair(HueFinder& finder, const fuzzing::ScriptedBridge& bridge) {
    try {
        const std::string name = finder.GetBridge(kBridge).getUsername();
        require(!name.empty() && finder.GetAllUsernames().at(kBridge.mac) == name,
                "the user name is stored");
        const std::size_t requests = bridge.requests().size();
        require(
            finder.GetBridge(kBridge).getUsername() == name && bridge.requests().size() == requests,
            "a paired bridge is not asked again");
    } catch (const std::runtime_error& failure) {
        require(failure.what() == std::string_view("Failed to request username!") ||
                    bridge.has_failed(),
                "other exceptions come from the transport");
        require(finder.GetAllUsernames().empty(), "a failure stores no name");
    }
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    set_clock_step(std::chrono::milliseconds(20));  // pairing reads it in a loop
    std::cout.rdbuf(nullptr);                       // discards its messages
    const auto bridge = std::make_shared<ScriptedBridge>(parts_of(input));
    HueFinder finder(bridge);
    pair(finder, *bridge);
    require(bridge->requests().size() <= kMostAttempts,
            "a bridge is asked at most once per second");
}
