// One light: its description and its getters, and the check of the bridge's answers to every
// operation. The first part of the input is the operation: its letter, and characters whose codes
// are its numbers (4 if missing), such as "bM" for a brightness of 77; " simple" selects the simple
// strategies. The second part is a description; the bridge's answers follow.
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "fuzz/support/ScriptedBridge.h"
#include "huelib/ExtendedColorHueStrategy.h"
#include "huelib/ExtendedColorTemperatureStrategy.h"
#include "huelib/HueLight.h"
#include "huelib/SimpleBrightnessStrategy.h"

namespace {

using fuzzing::require;
using fuzzing::ScriptedBridge;

using L = HueLight;
using N = std::array<std::uint8_t, 4>;

// Every getter: refreshes the light, or reads the cache of a const one.
template <typename Light>
bool read_all(Light& light) {
    const XYColor color = light.getColorXY();
    require(std::isfinite(color.x) && std::isfinite(color.y), "a coordinate is a number");
    light.getBrightness();
    light.getColorTemperature();
    light.getColorHueSaturation();
    light.getColorRGB();
    light.getColorHSV();
    light.getName();
    light.getSwVersion();
    light.getType();
    return light.isOn();
}

XYColor xy(const N& n) {
    return {static_cast<float>(n[0]) / 100, static_cast<float>(n[1]) / 100, 0};
}

HSVColor hsv(const N& n) {
    return {n[0], n[1], n[2]};
}

struct Operation {
    char letter;
    // True: success means that the bridge has confirmed every member of the last request.
    bool is_checked;
    bool (*run)(L& light, const N& numbers);
};

constexpr Operation kOperations[] = {
    {'o', false, [](L& l, const N& n) { return l.On(n[0]); }},
    {'f', false, [](L& l, const N& n) { return l.Off(n[0]); }},
    {'n', false, [](L& l, const N& n) { return l.setName(std::to_string(n[0])); }},
    {'b', true, [](L& l, const N& n) { return l.setBrightness(n[0], n[1]); }},
    {'t', true, [](L& l, const N& n) { return l.setColorTemperature(2U * n[0], n[1]); }},
    {'h', true, [](L& l, const N& n) { return l.setColorHue(n[0], n[1]); }},
    {'s', true, [](L& l, const N& n) { return l.setColorSaturation(n[0], n[1]); }},
    {'c', true, [](L& l, const N& n) { return l.setColorHueSaturation(n[0], n[1], n[2]); }},
    {'x', true, [](L& l, const N& n) { return l.setColorXY(xy(n), n[2]); }},
    {'l', true, [](L& l, const N& n) { return l.setColorLoop(n[0] != 0); }},
    {'r', false, [](L& l, const N& n) { return l.setColorRGB(n[0], n[1], n[2], n[3]); }},
    {'v', false, [](L& l, const N& n) { return l.setColorHSV(hsv(n), n[3]); }},
    {'a', true, [](L& l, const N&) { return l.alert(); }},
    {'T', false, [](L& l, const N& n) { return l.alertTemperature(2U * n[0]); }},
    {'H', false, [](L& l, const N& n) { return l.alertHueSaturation(n[0], n[1]); }},
    {'X', false, [](L& l, const N& n) { return l.alertXY(xy(n)); }},
    {'R', false, [](L& l, const N& n) { return l.alertRGB(n[0], n[1], n[2]); }},
    {'?', false, [](L& l, const N&) { return read_all(l); }},
};

void read_cached(const HueLight& light, const ScriptedBridge& bridge) {
    const std::size_t requests = bridge.requests().size();
    read_all(light);
    require(bridge.requests().size() == requests, "reading the cache sends no request");
}

// A check independent of the product's: every member is somewhere in the answer. Switching off is
// not checked.
bool confirms(const ScriptedBridge::Request& request) {
    Json::Value sent, answer;
    require(JsonAccess::parse(request.body, sent), "a request is JSON");
    if (JsonAccess::member(sent, "on") == Json::Value(false)) {
        return true;
    }
    if (!JsonAccess::parse(request.answer, answer) || !answer.isArray()) {
        return false;
    }
    const auto is_confirmed = [&](const std::string& name) {
        const std::string path = "/lights/3/state/" + name;
        return std::any_of(answer.begin(), answer.end(), [&](const Json::Value& each) {
            const Json::Value& success = JsonAccess::member(each, "success");
            return success.isObject() && success.isMember(path);
        });
    };
    const auto names = sent.getMemberNames();
    return std::all_of(names.begin(), names.end(), is_confirmed);
}

void run(const std::string& text, HueLight& light, const ScriptedBridge& bridge) {
    N numbers;
    numbers.fill(HueLight::kDefaultTransition);
    text.copy(reinterpret_cast<char*>(numbers.data()), numbers.size(), 1);
    for (const Operation& operation : kOperations) {
        if (operation.letter != text[0] || !operation.run(light, numbers)) {
            continue;
        }
        const ScriptedBridge::Request& last = bridge.requests().back();
        require(!operation.is_checked || last.method != "PUT" || confirms(last),
                "success means that the bridge confirmed it");
    }
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    const std::vector<std::string> parts = parts_of(input);
    if (parts.size() < 2 || parts[0].empty()) {
        return;
    }
    const auto bridge = std::make_shared<ScriptedBridge>(parts, 2);
    try {
        HueLight light(3, HueCommandAPI("bridge", "user", bridge),
                       std::make_shared<SimpleBrightnessStrategy>(),
                       std::make_shared<ExtendedColorTemperatureStrategy>(),
                       std::make_shared<ExtendedColorHueStrategy>());
        light.updateState(parts[1]);
        read_cached(light, *bridge);
        if (parts[0].find("simple") != std::string::npos) {
            light.setColorTemperatureStrategy(std::make_shared<SimpleColorTemperatureStrategy>());
            light.setColorHueStrategy(std::make_shared<SimpleColorHueStrategy>());
        }
        run(parts[0], light, *bridge);
        read_cached(light, *bridge);
    } catch (const std::runtime_error&) {
        require(bridge->has_failed(), "exceptions come from the transport");
    }
    bridge->require_pacing();
}
