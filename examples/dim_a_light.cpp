// Finds a Hue bridge on the local network and dims one of its lights:
//
//     dim_a_light LIGHT PERCENT [USER]
//
// Without USER, the program asks the bridge for a new user name: press its link button. The exit
// code is 0 if the bridge confirmed the command, 1 if not, and 2 for a wrong command line.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "huelib/BridgeSearch.h"
#include "huelib/Hue.h"
#include "huelib/LinHttpHandler.h"

namespace {

constexpr long kFullBrightness = 254;

// The first bridge that describes itself; others may only claim to be one.
std::string addressOfABridge() {
    for (const BridgeSearch::Bridge& bridge : BridgeSearch().find()) {  // blocks for some seconds
        if (bridge.isDescribed) {
            return bridge.address;
        }
    }
    return {};
}

bool dim(long id, long percent, const std::string& user) {
    const std::string address = addressOfABridge();
    if (address.empty()) {
        std::cerr << "No bridge found. Is it in this network?\n";
        return false;
    }
    Hue bridge(address, user, std::make_shared<LinHttpHandler>());
    if (user.empty() && bridge.requestUsername(address).empty()) {
        std::cerr << "The link button was not pressed in time.\n";
        return false;
    }
    std::cout << "Bridge " << address << ", user " << bridge.getUsername() << "\n";
    HueLight& light = bridge.getLight(static_cast<int>(id));
    if (!light.setBrightness(static_cast<unsigned int>(percent * kFullBrightness / 100))) {
        std::cerr << "The bridge did not confirm the command.\n";
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const long id = argc < 3 ? 0 : std::strtol(argv[1], nullptr, 10);
    const long percent = argc < 3 ? 0 : std::strtol(argv[2], nullptr, 10);
    if (id < 1 || id > 255 || percent < 1 || percent > 100) {
        std::cerr << "Usage: dim_a_light LIGHT(1..255) PERCENT(1..100) [USER]\n";
        return 2;
    }
    try {
        return dim(id, percent, argc > 3 ? argv[3] : "") ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << "\n";
        return 1;
    }
}
