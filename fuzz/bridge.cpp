// The class Hue: the list of lights and its lights. The first part of the input is a list of
// operations, such as "g3 a r"; the bridge's answers follow.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "fuzz/support/ScriptedBridge.h"
#include "huelib/Hue.h"

namespace {

using fuzzing::require;
using fuzzing::ScriptedBridge;

constexpr std::size_t kMostOperations = 8;
constexpr std::size_t kMostLights = 256;

bool is_documented(std::string_view text) {
    constexpr std::string_view kModel = "HueLight type ";
    return text == "Error in Hue getLight(): light id is not valid" ||
           text == "Error in Hue peekLight(): light id is not valid" ||
           text.substr(0, kModel.size()) == kModel;
}

void run(const std::string& operation, Hue& hue) {
    const int id = std::atoi(operation.c_str() + 1);
    const Hue& cached = hue;
    switch (operation[0]) {
        case 'g':
            require(static_cast<unsigned char>(hue.getLight(id).getId() - id) == 0,
                    "getLight returns the light with the given id");
            require(cached.lightExists(id), "a light that getLight returned exists");
            require(hue.getLight(id).getColorType() != ColorType::Undefined, "a light has a type");
            break;
        case 'p':
            require(&hue.peekLight(id) == &cached.peekLight(id),
                    "peekLight always returns the same object");
            break;
        case 'e':
            hue.lightExists(id);
            break;
        case 'd':
            if (hue.removeLight(id)) {
                const std::string picture = hue.getPictureOfLight(id);
                require(picture.empty(), "a removed light does not exist");
            }
            break;
        case 'r':
            hue.refreshLights();
            break;
        case 's':
            hue.refreshState();
            break;
        case 'a':
            require(hue.getAllLights().size() <= kMostLights, "the number of lights is limited");
            break;
        default:
            hue.getPictureOfModel(operation);
    }
}

void run_guarded(const std::string& operation, Hue& hue, const ScriptedBridge& bridge) {
    try {
        run(operation, hue);
    } catch (const std::invalid_argument& failure) {
        require(operation[0] == 'a' && failure.what() == std::string_view("stoi"),
                "only getAllLights converts names");
    } catch (const std::out_of_range& failure) {
        require(operation[0] == 'a' && failure.what() == std::string_view("stoi"),
                "only getAllLights converts names");
    } catch (const std::runtime_error& failure) {
        require(is_documented(failure.what()) || bridge.has_failed(),
                "other exceptions come from the transport");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string> parts = fuzzing::parts_of(data, size);
    const auto bridge = std::make_shared<ScriptedBridge>(parts, 1);
    Hue hue("bridge", "user", bridge);
    std::istringstream operations(parts[0]);
    std::string operation;
    for (std::size_t i = 0; i < kMostOperations && operations >> operation; ++i) {
        run_guarded(operation, hue, *bridge);
    }
    const std::size_t requests = bridge->requests().size();
    for (const int id : {1, 3, 20}) {
        if (!hue.getPictureOfLight(id).empty()) {
            const HueLight& light = static_cast<const Hue&>(hue).peekLight(id);
            light.getName();
            light.getColorRGB();
        }
    }
    require(bridge->requests().size() == requests, "reading the cache sends no request");
    bridge->require_pacing();
    return 0;
}
