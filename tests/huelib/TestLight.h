/// A light with every capability on its own scripted bridge, for the tests of lights and
/// strategies.
#pragma once

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "huelib/ExtendedColorHueStrategy.h"
#include "huelib/ExtendedColorTemperatureStrategy.h"
#include "huelib/HueLight.h"
#include "huelib/SimpleBrightnessStrategy.h"
#include "tests/support/ScriptedHttpHandler.h"

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

inline const std::string kPut = "PUT /lights/3/state ";

struct TestLight {
    static constexpr int kId = 3;

    explicit TestLight(const std::string& state_changes = "{}")
        : bridge(std::make_shared<ScriptedHttpHandler>(kId, description_with(state_changes))),
          light(kId, sender(), std::make_shared<SimpleBrightnessStrategy>(),
                std::make_shared<ExtendedColorTemperatureStrategy>(),
                std::make_shared<ExtendedColorHueStrategy>()) {}

    HueCommandAPI sender() const { return {"bridge", ScriptedHttpHandler::kUser, bridge}; }

    /// Replaces the extended strategies by the simple ones.
    void use_simple_strategies() {
        light.setColorTemperatureStrategy(std::make_shared<SimpleColorTemperatureStrategy>());
        light.setColorHueStrategy(std::make_shared<SimpleColorHueStrategy>());
    }

    std::shared_ptr<ScriptedHttpHandler> bridge;
    HueLight light;
};

/// A command to a light: act(&HueLight::setBrightness)(value, transition).
using Act = std::function<bool(HueLight&)>;
template <typename... Parameters>
auto act(bool (HueLight::*method)(Parameters...)) {
    return [=](Parameters... values) -> Act {
        return [=](HueLight& light) { return (light.*method)(values...); };
    };
}

/// Runs every case on its own thread: each waits most of its time for its paced sender.
template <typename Cases, typename Check>
void for_each_in_parallel(const Cases& cases, const Check& check) {
    std::vector<std::future<void>> running;
    for (const auto& one : cases) {
        running.push_back(std::async(std::launch::async, [&check, &one] { check(one); }));
    }
    for (std::future<void>& each : running) {
        EXPECT_NO_THROW(each.get());
    }
}
