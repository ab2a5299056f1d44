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

#include "huelib/HueFinder.h"
#include "huelib/LinHttpHandler.h"

namespace {

constexpr long kFullBrightness = 254;

bool dim(long id, long percent, const std::string& user) {
    HueFinder finder(std::make_shared<LinHttpHandler>());
    const auto bridges = finder.FindBridges();  // blocks for five seconds
    if (bridges.empty()) {
        std::cerr << "No bridge found. Is it in this network?\n";
        return false;
    }
    const HueFinder::HueIdentification& first = bridges.front();
    if (!user.empty()) {
        finder.AddUsername(first.mac, user);
    }
    Hue bridge = finder.GetBridge(first);
    std::cout << "Bridge " << first.ip << ", user " << bridge.getUsername() << "\n";
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
