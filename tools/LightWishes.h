/// What a person wants of one light, and the order in which it is done. Pure; nothing is sent
/// before a step acts.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "huelib/HueLight.h"

namespace huectl {

/// The options of "huectl light" as they were written.
struct LightOptions {
    bool on = false;
    bool off = false;
    bool blink = false;
    std::optional<std::string> brightness, kelvin, mired, rgb, hsv, xy, loop, transition, name,
        flash;
};

enum class Capability { none, temperature, colour };

/// One operation of the client library.
struct Step {
    std::string option;  ///< that asks for it
    Capability needs;
    std::function<bool(HueLight&)> act;  ///< false when the bridge did not confirm it
};

/// The steps that carry out `options`, in this order: name, on, the end of a colour loop,
/// temperature or colour, brightness, the start of a colour loop, blinking, flashing, off. Throws a
/// usage Failure for what is out of range or contradicts itself.
std::vector<Step> steps_of(const LightOptions& options);

}  // namespace huectl
