// One light: its description and its getters, and the check of the bridge's answers to every
// operation. The first part of the input is the operation, such as "b 77 9" or "x 300 300 4
// simple", the second a description; the bridge's answers follow.
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include "fuzz/support/ScriptedBridge.h"
#include "huelib/ExtendedColorHueStrategy.h"
#include "huelib/ExtendedColorTemperatureStrategy.h"
#include "huelib/HueLight.h"
#include "huelib/SimpleBrightnessStrategy.h"

namespace {

using fuzzing::require;
using fuzzing::ScriptedBridge;
using Numbers = std::array<unsigned long, 4>;

constexpr int kId = 3;

struct Operation {
    char letter;
    bool (*run)(HueLight& light, const Numbers& n);
    // True: success means that the bridge has confirmed every member of the last request.
    bool is_checked;
};

std::uint8_t byte(unsigned long n) {
    return static_cast<std::uint8_t>(n);
}
std::uint16_t word(unsigned long n) {
    return static_cast<std::uint16_t>(n);
}
XYColor xy(const Numbers& n) {
    return {static_cast<float>(n[0]) / 1000, static_cast<float>(n[1]) / 1000, 0};
}

constexpr Operation kOperations[] = {
    {'o', [](HueLight& l, const Numbers& n) { return l.On(byte(n[0])); }, false},
    {'f', [](HueLight& l, const Numbers& n) { return l.Off(byte(n[0])); }, false},
    {'n', [](HueLight& l, const Numbers& n) { return l.setName(std::to_string(n[0])); }, false},
    {'b',
     [](HueLight& l, const Numbers& n) {
         return l.setBrightness(static_cast<unsigned>(n[0]), byte(n[1]));
     },
     true},
    {'t',
     [](HueLight& l, const Numbers& n) {
         return l.setColorTemperature(static_cast<unsigned>(n[0]), byte(n[1]));
     },
     true},
    {'h', [](HueLight& l, const Numbers& n) { return l.setColorHue(word(n[0]), byte(n[1])); },
     true},
    {'s',
     [](HueLight& l, const Numbers& n) { return l.setColorSaturation(byte(n[0]), byte(n[1])); },
     true},
    {'c',
     [](HueLight& l, const Numbers& n) {
         return l.setColorHueSaturation(word(n[0]), byte(n[1]), byte(n[2]));
     },
     true},
    {'x', [](HueLight& l, const Numbers& n) { return l.setColorXY(xy(n), byte(n[2])); }, true},
    {'l', [](HueLight& l, const Numbers& n) { return l.setColorLoop(n[0] != 0); }, true},
    {'r',
     [](HueLight& l, const Numbers& n) {
         return l.setColorRGB(byte(n[0]), byte(n[1]), byte(n[2]), byte(n[3]));
     },
     false},
    {'v',
     [](HueLight& l, const Numbers& n) {
         return l.setColorHSV({byte(n[0]), byte(n[1]), byte(n[2])}, byte(n[3]));
     },
     false},
    {'a', [](HueLight& l, const Numbers&) { return l.alert(); }, true},
    {'T',
     [](HueLight& l, const Numbers& n) { return l.alertTemperature(static_cast<unsigned>(n[0])); },
     false},
    {'H',
     [](HueLight& l, const Numbers& n) { return l.alertHueSaturation(word(n[0]), byte(n[1])); },
     false},
    {'X', [](HueLight& l, const Numbers& n) { return l.alertXY(xy(n)); }, false},
    {'R',
     [](HueLight& l, const Numbers& n) { return l.alertRGB(byte(n[0]), byte(n[1]), byte(n[2])); },
     false},
    {'?',
     [](HueLight& l, const Numbers&) {
         l.getName();
         l.getSwVersion();
         l.getBrightness();
         l.getColorTemperature();
         l.getColorHueSaturation();
         l.getColorXY();
         return l.isOn();
     },
     false},
};

void read_everything(const HueLight& light, const ScriptedBridge& bridge) {
    const std::size_t requests = bridge.requests().size();
    light.isOn();
    light.getBrightness();
    light.getColorTemperature();
    light.getColorHueSaturation();
    light.getColorRGB();
    light.getColorHSV();
    const XYColor color = light.getColorXY();
    require(std::isfinite(color.x) && std::isfinite(color.y), "a coordinate is a number");
    for (const std::string& text :
         {light.getType(), light.getName(), light.getModelId(), light.getUId(),
          light.getManufacturername(), light.getProductname(), light.getLuminaireUId(),
          light.getSwVersion()}) {
        require(text.size() <= 2U << 20, "a text is not longer than an answer");
    }
    require(bridge.requests().size() == requests, "reading the cache sends no request");
}

// A check independent of the product's: every member is somewhere in the answer. Switching off is
// not checked.
bool confirms(const ScriptedBridge::Request& request) {
    Json::Value sent;
    require(JsonAccess::parse(request.body, sent), "a request is JSON");
    if (JsonAccess::member(sent, "on") == Json::Value(false)) {
        return true;
    }
    Json::Value answer;
    if (!JsonAccess::parse(request.answer, answer) || !answer.isArray()) {
        return false;
    }
    const std::string prefix = "/lights/" + std::to_string(kId) + "/state/";
    for (const std::string& name : sent.getMemberNames()) {
        bool is_confirmed = false;
        for (const Json::Value& each : answer) {
            const Json::Value& success = JsonAccess::member(each, "success");
            is_confirmed = is_confirmed || (success.isObject() && success.isMember(prefix + name));
        }
        if (!is_confirmed) {
            return false;
        }
    }
    return true;
}

void run(const Operation& operation, HueLight& light, const std::string& text,
         const ScriptedBridge& bridge) {
    Numbers numbers{};
    const char* at = text.c_str() + 1;
    for (unsigned long& number : numbers) {
        char* end = nullptr;
        number = std::strtoul(at, &end, 10);
        at = end;
    }
    try {
        const bool is_done = operation.run(light, numbers);
        const ScriptedBridge::Request& last = bridge.requests().back();
        if (is_done && operation.is_checked && last.method == "PUT") {
            require(confirms(last), "success means that the bridge confirmed it");
        }
    } catch (const std::runtime_error&) {
        require(bridge.has_failed(), "exceptions come from the transport");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string> parts = fuzzing::parts_of(data, size);
    if (parts.size() < 2) {
        return 0;
    }
    const auto bridge = std::make_shared<ScriptedBridge>(parts, 2);
    const HueCommandAPI sender("bridge", "user", bridge);
    static const auto brightness = std::make_shared<SimpleBrightnessStrategy>();
    static const auto simple_temperature = std::make_shared<SimpleColorTemperatureStrategy>();
    static const auto simple_color = std::make_shared<SimpleColorHueStrategy>();
    static const auto temperature = std::make_shared<ExtendedColorTemperatureStrategy>();
    static const auto color = std::make_shared<ExtendedColorHueStrategy>();
    try {
        HueLight light(kId, sender, brightness, temperature, color);
        light.updateState(parts[1]);
        read_everything(light, *bridge);
        if (parts[0].find("simple") != std::string::npos) {
            light.setColorTemperatureStrategy(simple_temperature);
            light.setColorHueStrategy(simple_color);
        }
        for (const Operation& operation : kOperations) {
            if (!parts[0].empty() && parts[0][0] == operation.letter) {
                run(operation, light, parts[0], *bridge);
            }
        }
        read_everything(light, *bridge);
    } catch (const std::runtime_error&) {
        require(bridge->requests().size() <= 2 && bridge->has_failed(),
                "creating a light fails only without a first answer");
    }
    bridge->require_pacing();
    return 0;
}
