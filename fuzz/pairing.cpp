// Pairing: the bridge's answers to the request for a user name.
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "fuzz/support/ScriptedBridge.h"
#include "huelib/HueFinder.h"

namespace {

using fuzzing::require;

constexpr std::size_t kMostAttempts = 34;  // one a second, the first after a second
const HueFinder::HueIdentification kBridge{"192.168.1.20", "001788fffe000001"};

void pair(HueFinder& finder, const fuzzing::ScriptedBridge& bridge) {
    try {
        const std::string name = finder.GetBridge(kBridge).getUsername();
        require(!name.empty() && finder.GetAllUsernames().at(kBridge.mac) == name,
                "a user name is kept");
        const std::size_t requests = bridge.requests().size();
        require(
            finder.GetBridge(kBridge).getUsername() == name && bridge.requests().size() == requests,
            "a bridge that is known is not asked again");
    } catch (const std::runtime_error& failure) {
        require(failure.what() == std::string_view("Failed to request username!") ||
                    bridge.has_failed(),
                "only the transport throws otherwise");
        require(finder.GetAllUsernames().empty(), "a failure leaves no name");
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzing::set_clock_step(std::chrono::milliseconds(20));  // pairing looks at it all the time
    std::cout.rdbuf(nullptr);                                // what it says is for people
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bridge = std::make_shared<fuzzing::ScriptedBridge>(fuzzing::parts_of(data, size));
    HueFinder finder(bridge);
    pair(finder, *bridge);
    require(bridge->requests().size() <= kMostAttempts, "a bridge is asked once a second");
    for (const auto& request : bridge->requests()) {
        require(request.method == "POST" && request.uri == "/api", "only a user name is asked for");
    }
    return 0;
}
