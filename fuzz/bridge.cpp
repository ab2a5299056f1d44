// The class Hue: the list of lights and its lights. The first part of the input is a list of
// operations, such as "g3 a r"; the bridge's answers follow.
#include <cstdlib>
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

bool is_documented(std::string_view text) {
    return text == "Error in Hue getLight(): light id is not valid" ||
           text == "Error in Hue peekLight(): light id is not valid" ||
           text.rfind("HueLight type ", 0) == 0;
}

void get_light(Hue& hue, int id) {
    require(static_cast<unsigned char>(hue.getLight(id).getId() - id) == 0,
            "getLight returns the light with the given id");
    require(static_cast<const Hue&>(hue).lightExists(id), "a light that getLight returned exists");
    require(hue.getLight(id).getColorType() != ColorType::Undefined, "a light has a type");
}

void remove_light(Hue& hue, int id) {
    require(!hue.removeLight(id) || hue.getPictureOfLight(id).empty(),
            "a removed light does not exist");
}

struct Operation {
    char letter;
    void (*run)(Hue& hue, int id);
};

constexpr Operation kOperations[] = {
    {'g', get_light},
    {'p', [](Hue& hue, int id) { hue.peekLight(id); }},
    {'e', [](Hue& hue, int id) { hue.lightExists(id); }},
    {'d', remove_light},
    {'r', [](Hue& hue, int) { hue.refreshLights(); }},
    {'s', [](Hue& hue, int) { hue.refreshState(); }},
    {'t', [](Hue& hue, int is_allowed) { hue.driveUnknownModelsByType(is_allowed != 0); }},
    {'a', [](Hue& hue, int) { require(hue.getAllLights().size() <= 256, "lights are limited"); }},
};

void run(const std::string& operation, Hue& hue, const ScriptedBridge& bridge) {
    try {
        for (const auto& [letter, run] : kOperations) {
            if (operation[0] == letter) {
                run(hue, std::atoi(operation.c_str() + 1));
            }
        }
    } catch (const std::logic_error& failure) {
        require(operation[0] == 'a' && failure.what() == std::string_view("stoi"),
                "only getAllLights converts names");
    } catch (const std::runtime_error& failure) {
        require(is_documented(failure.what()) || bridge.has_failed(),
                "other exceptions come from the transport");
    }
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    const std::vector<std::string> parts = parts_of(input);
    const auto bridge = std::make_shared<ScriptedBridge>(parts, 1);
    Hue hue("bridge", "user", bridge);
    std::istringstream operations(parts[0]);
    std::string operation;
    for (std::size_t i = 0; i < kMostOperations && operations >> operation; ++i) {
        run(operation, hue, *bridge);
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
}
