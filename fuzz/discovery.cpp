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

using fuzzing::Cuts;
using fuzzing::require;

constexpr std::size_t kMostCollected = std::size_t{4} << 20;

bool is_one_line(const std::string& value) {
    return value.find("\r\n") == std::string::npos;
}

std::size_t count_devices(const std::shared_ptr<fuzzing::ScriptedBridge>& network) {
    const auto devices = UPnP::getDevices(network);
    std::size_t bytes = 0;
    for (const auto& device : devices) {
        bytes += device.first.size() + device.second.size();
        require(is_one_line(device.first) && is_one_line(device.second), "a value is one line");
        require(std::count(devices.begin(), devices.end(), device) == 1,
                "every device is returned once");
    }
    require(bytes <= kMostCollected, "the collected size is limited");
    return devices.size();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzing::set_clock_step(std::chrono::milliseconds(2));  // the search reads it in a loop
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string> parts = fuzzing::parts_of(data, size);
    const auto network = std::make_shared<fuzzing::ScriptedBridge>(parts, 1);
    std::size_t devices = 0;
    {
        const fuzzing::ScriptedPeer peer(parts[0], Cuts::none, fuzzing::End::stalls);
        devices = count_devices(network);
    }
    const fuzzing::ScriptedPeer peer(parts[0], Cuts::random, fuzzing::End::stalls);
    std::vector<HueFinder::HueIdentification> bridges;
    try {
        bridges = HueFinder(network).FindBridges();
    } catch (const std::system_error&) {  // a device that refuses ends the search
    }
    require(network->requests().size() <= devices, "every device is asked once");
    require(bridges.size() <= network->requests().size(), "every bridge has sent a description");
    for (const auto& [ip, mac] : bridges) {
        require(ip.find(':') == std::string::npos, "an address has no port");
        require(!mac.empty() &&
                    std::all_of(mac.begin(), mac.end(),
                                [](unsigned char c) { return std::isalnum(c) || c == '_'; }),
                "a serial number is one word");
    }
    return 0;
}
