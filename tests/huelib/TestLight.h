/// A light with every capability on its own scripted bridge, and the calls of test vectors.
#pragma once

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "huelib/ExtendedColorHueStrategy.h"
#include "huelib/ExtendedColorTemperatureStrategy.h"
#include "huelib/HueLight.h"
#include "huelib/SimpleBrightnessStrategy.h"
#include "tests/support/ScriptedHttpHandler.h"
#include "tests/support/Vectors.h"

/// The bridge's description of a light, with `changes` (JSON) made to its state.
inline Json::Value description_with(const std::string& changes) {
    Json::Value description = *simulator::parse_json(R"({
        "state": {"on": true, "bri": 100, "hue": 1000, "sat": 200, "ct": 300, "xy": [0.5, 0.25],
                  "effect": "none", "alert": "none", "colormode": "hs"},
        "name": "Lamp", "modelid": "LCT015", "swversion": "1.2"})");
    const Json::Value changed = *simulator::parse_json(changes);
    for (const std::string& name : changed.getMemberNames()) {
        description["state"][name] = changed[name];
    }
    return description;
}

struct TestLight {
    static constexpr int kId = 3;

    explicit TestLight(const std::string& state_changes = "{}")
        : bridge(std::make_shared<ScriptedHttpHandler>(kId, description_with(state_changes))),
          light(kId, {"bridge", ScriptedHttpHandler::kUser, bridge},
                std::make_shared<SimpleBrightnessStrategy>(),
                std::make_shared<ExtendedColorTemperatureStrategy>(),
                std::make_shared<ExtendedColorHueStrategy>()) {}

    std::shared_ptr<ScriptedHttpHandler> bridge;
    HueLight light;
};

/// The next words of a call, as the type of a parameter.
struct Argument {
    std::istream& words;

    operator std::string() const {
        std::string word;
        words >> word;
        return word;
    }
    template <typename T, typename = std::enable_if_t<std::is_arithmetic_v<T>>>
    operator T() const {
        return static_cast<T>(std::stod(std::string(*this)));
    }
    operator XYColor() const {
        const float x = *this;
        return {x, *this, 77};
    }
    operator HSVColor() const {
        const std::uint8_t hue = *this;
        const std::uint8_t saturation = *this;
        return {hue, saturation, *this};
    }
};

using Call = std::function<bool(HueLight&, std::istream&)>;
template <typename... Parameters>
Call call(bool (HueLight::*method)(Parameters...)) {
    return [method](HueLight& light, std::istream& words) {
        std::tuple<std::decay_t<Parameters>...> values{
            static_cast<std::decay_t<Parameters>>(Argument{words})...};
        return std::apply([&](const auto&... each) { return (light.*method)(each...); }, values);
    };
}

template <typename Strategy, typename Value>
Call set(void (HueLight::*method)(std::shared_ptr<const Strategy>), Value strategy) {
    return [=](HueLight& light, std::istream&) {
        (light.*method)(strategy);
        return true;
    };
}

/// What a line of test vectors can name.
inline const std::map<std::string, Call> kCalls = {
    {"on", call(&HueLight::On)},
    {"off", call(&HueLight::Off)},
    {"name", call(&HueLight::setName)},
    {"bri", call(&HueLight::setBrightness)},
    {"ct", call(&HueLight::setColorTemperature)},
    {"hue", call(&HueLight::setColorHue)},
    {"sat", call(&HueLight::setColorSaturation)},
    {"hue_sat", call(&HueLight::setColorHueSaturation)},
    {"xy", call(&HueLight::setColorXY)},
    {"rgb", call(&HueLight::setColorRGB)},
    {"hsv", call(&HueLight::setColorHSV)},
    {"loop", call(&HueLight::setColorLoop)},
    {"alert", call(&HueLight::alert)},
    {"alert_ct", call(&HueLight::alertTemperature)},
    {"alert_hue", call(&HueLight::alertHueSaturation)},
    {"alert_xy", call(&HueLight::alertXY)},
    {"alert_rgb", call(&HueLight::alertRGB)},
    {"no_bri", set(&HueLight::setBrightnessStrategy, nullptr)},
    {"no_ct", set(&HueLight::setColorTemperatureStrategy, nullptr)},
    {"no_color", set(&HueLight::setColorHueStrategy, nullptr)},
    {"simple_ct", set(&HueLight::setColorTemperatureStrategy,
                      std::make_shared<SimpleColorTemperatureStrategy>())},
    {"simple_color",
     set(&HueLight::setColorHueStrategy, std::make_shared<SimpleColorHueStrategy>())},
};

/// Runs "simple_ct ct 300 4" or more calls, and returns the result of the last one.
inline bool run(HueLight& light, const std::string& text) {
    std::istringstream words(text);
    bool result = false;
    for (std::string word; words >> word;) {
        result = kCalls.at(word)(light, words);
    }
    return result;
}

/// As for_each_vector, each row on its own thread: a light waits most of its time for its paced
/// sender.
template <typename Check>
void for_each_vector_in_parallel(const std::string& section, std::size_t cells,
                                 const Check& check) {
    std::vector<std::future<void>> running;
    for_each_vector("huelib/HueLight.txt", section, cells, [&](const auto& row) {
        running.push_back(std::async(std::launch::async, [&check, row] {
            SCOPED_TRACE(row.front() + " | " + row[1] + ": " + row.back());
            check(row);
        }));
    });
    for (std::future<void>& each : running) {
        EXPECT_NO_THROW(each.get());
    }
}
