// The search for bridges. The first part of the input is the answers to the search; the devices'
// descriptions follow.
#include <algorithm>
#include <cctype>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "fuzz/support/ScriptedBridge.h"
#include "fuzz/support/ScriptedPeer.h"
#include "huelib/HueFinder.h"
#include "huelib/UPnP.h"

namespace {

using fuzzing::require;
using fuzzing::ScriptedBridge;

bool is_one_line(const std::string& value) {
    return value.find("\r\n") == std::string::npos;
}

std::size_t count_devices(const std::shared_ptr<ScriptedBridge>& network) {
    const auto devices = UPnP::getDevices(network);
    for (const auto& device : devices) {
        require(is_one_line(device.first) && is_one_line(device.second), "a value is one line");
        require(std::count(devices.begin(), devices.end(), device) == 1,
                "every device is returned once");
    }
    return devices.size();
}

void check_bridges(const std::shared_ptr<ScriptedBridge>& network) {
    std::vector<HueFinder::HueIdentification> bridges;
    try {
        bridges = HueFinder(network).FindBridges();
    } catch (const std::system_error&) {  // a device that refuses ends the search
    }
    require(bridges.size() <= network->requests().size(), "every bridge has sent a description");
    for (const auto& [ip, mac] : bridges) {
        require(ip.find(':') == std::string::npos, "an address has no port");
        const auto is_in_a_word = [](unsigned char c) { return std::isalnum(c) || c == '_'; };
        require(!mac.empty() && std::all_of(mac.begin(), mac.end(), is_in_a_word),
                "a serial number is one word");
    }
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    set_clock_step(std::chrono::milliseconds(2));  // the search reads it in a loop
    const std::vector<std::string> parts = parts_of(input);
    const auto network = std::make_shared<ScriptedBridge>(parts, 1);
    std::size_t devices = 0;
    {
        const ScriptedPeer peer(parts[0], Cuts::none, End::stalls);
        devices = count_devices(network);
    }
    const ScriptedPeer peer(parts[0], Cuts::random, End::stalls);
    check_bridges(network);
    require(network->requests().size() <= devices, "every device is asked once");
}
