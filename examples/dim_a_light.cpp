// Finds a Hue bridge on the local network and dims one of its lights:
//
//     dim_a_light LIGHT PERCENT [USER]
//
// Without USER the bridge is asked for a new user name, for which its link button has to be
// pressed. Exit code 0 when the bridge confirmed, 1 when not, 2 for a wrong command line.

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
    const auto bridges = finder.FindBridges();  // five seconds; nothing else to do meanwhile
    if (bridges.empty()) {
        std::cerr << "No bridge answers. Is it on this network?\n";
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
        std::cerr << "The bridge did not confirm.\n";
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
