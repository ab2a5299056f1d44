/// The options of "huectl light": one table for the command line, the checks and the steps. Pure;
/// nothing is sent before a step acts.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "huelib/HueLight.h"
#include "huelib/LightCatalogue.h"

namespace huectl {

/// The options that were given: name, with its hyphens, and value. The value of a flag is empty.
using LightOptions = std::map<std::string, std::string>;

/// When a step is carried out, whatever the order of the options.
enum class Phase {
    rename,
    switch_on,
    stop_loop,
    colour,  ///< or temperature
    dim,
    start_loop,
    blink,
    flash,
    switch_off,
};

/// One operation of the client library.
struct Step {
    std::string option;  ///< the option that asks for it, for messages
    Phase phase;
    std::function<bool(HueLight&)> act;  ///< false when the bridge did not confirm it
    /// Whether a light can do it; empty if every light can.
    std::function<bool(const LightCatalogue::LightClass&)> needs = {};
    std::optional<unsigned> mired = {};  ///< the colour temperature, if the step sets one
};

/// One row of the table.
struct LightOption {
    const char* name;
    const char* value;  ///< its value in the help; null for a flag
    const char* help;
    /// Reads the value; throws a usage Failure when it is out of range. `transition` counts steps
    /// of 100 ms. Null for an option that is no step.
    Step (*read)(const std::string& name, const std::string& text, std::uint8_t transition);
};

/// Permits to change a light whose model is unknown.
constexpr const char* kByType = "--by-type";

/// The table, in the order of the help.
const std::vector<LightOption>& light_options();

/// The steps that carry out `options`, in the order of their phases. Throws a usage Failure for a
/// value that is out of range and for options that contradict each other.
std::vector<Step> steps_of(const LightOptions& options);

}  // namespace huectl
