#include "LightOptions.h"

#include <algorithm>

#include "Failure.h"
#include "Values.h"
#include "huelib/ColorConversion.h"

namespace huectl {
namespace {

using LightCatalogue::LightClass;

constexpr unsigned kTransitionStepMilliseconds = 100;
constexpr unsigned kFullBrightness = 254;
constexpr const char* kTransition = "--transition";

Step temperature_step(const std::string& name, unsigned mired, std::uint8_t t) {
    return {name, Phase::colour,
            [=](HueLight& light) { return light.setColorTemperature(mired, t); },
            &LightClass::hasTemperature, mired};
}

// A brightness of 0 is a light that is off, for a bridge's light as for a dimmer's.
Step brightness_step(const std::string& name, const std::string& text, std::uint8_t t) {
    const unsigned bri = number_of(name, text, kPercent) * kFullBrightness / 100;
    if (bri == 0) {
        return {name + " 0", Phase::switch_off, [=](HueLight& light) { return light.Off(t); }};
    }
    return {name, Phase::dim, [=](HueLight& light) { return light.setBrightness(bri, t); },
            &LightClass::isDimmable};
}

Step loop_step(const std::string& name, const std::string& text, std::uint8_t) {
    const bool on = switch_of(name, text);
    return {name, on ? Phase::start_loop : Phase::stop_loop,
            [=](HueLight& light) { return light.setColorLoop(on); }, &LightClass::hasColor};
}

// Six digits are a colour, fewer a temperature.
Step flash_step(const std::string& name, const std::string& text, std::uint8_t) {
    constexpr std::size_t kColourDigits = 6;
    if (text.size() < kColourDigits) {
        const unsigned mired =
            ColorConversion::reciprocalTemperature(number_of(name, text, kKelvin));
        return {name, Phase::flash, [=](HueLight& light) { return light.alertTemperature(mired); },
                &LightClass::hasTemperature, mired};
    }
    const RGB c = rgb_of(name, text);
    return {name, Phase::flash, [=](HueLight& light) { return light.alertRGB(c.r, c.g, c.b); },
            &LightClass::hasColor};
}

using Text = const std::string&;

const std::vector<LightOption> kOptions = {
    {"--on", nullptr, "Switch on",
     [](Text name, Text, std::uint8_t t) -> Step {
         return {name, Phase::switch_on, [=](HueLight& light) { return light.On(t); }};
     }},
    {"--off", nullptr, "Switch off",
     [](Text name, Text, std::uint8_t t) -> Step {
         return {name, Phase::switch_off, [=](HueLight& light) { return light.Off(t); }};
     }},
    {"--brightness", "PERCENT", "0..100; 0 switches off", brightness_step},
    {"--kelvin", "K", "Colour temperature, 2000..6535",
     [](Text name, Text text, std::uint8_t t) {
         const unsigned kelvin = number_of(name, text, kKelvin);
         return temperature_step(name, ColorConversion::reciprocalTemperature(kelvin), t);
     }},
    {"--mired", "M", "Colour temperature, 153..500",
     [](Text name, Text text, std::uint8_t t) {
         return temperature_step(name, number_of(name, text, kMired), t);
     }},
    {"--rgb", "RRGGBB", "Colour, six hex digits; not grey, white or black",
     [](Text name, Text text, std::uint8_t t) -> Step {
         const RGB c = rgb_of(name, text);
         return {name, Phase::colour,
                 [=](HueLight& light) { return light.setColorRGB(c.r, c.g, c.b, t); },
                 &LightClass::hasColor};
     }},
    {"--hsv", "H,S,V", "Colour: hue, saturation and value, 0..255 each",
     [](Text name, Text text, std::uint8_t t) -> Step {
         const HSVColor hsv = hsv_of(name, text);
         return {name, Phase::colour, [=](HueLight& light) { return light.setColorHSV(hsv, t); },
                 &LightClass::hasColor};
     }},
    {"--xy", "X,Y", "Colour: CIE coordinates, 0..1 each",
     [](Text name, Text text, std::uint8_t t) -> Step {
         const XYColor xy = xy_of(name, text);
         return {name, Phase::colour, [=](HueLight& light) { return light.setColorXY(xy, t); },
                 &LightClass::hasColor};
     }},
    {"--loop", "on|off", "Start or stop a loop through all colours", loop_step},
    {kTransition, "MS", "Duration of the change, 0..25500 ms in steps of 100 (default 400)",
     nullptr},
    {"--name", "TEXT", "Rename the light, 1..32 characters",
     [](Text name, Text text, std::uint8_t) -> Step {
         return {name, Phase::rename, [new_name = name_of(name, text)](HueLight& light) {
                     return light.setName(new_name);
                 }};
     }},
    {"--blink", nullptr, "Blink once",
     [](Text name, Text, std::uint8_t) -> Step {
         return {name, Phase::blink, [](HueLight& light) { return light.alert(); }};
     }},
    {"--flash", "RRGGBB|K",
     "Blink once in a colour, or in a temperature of 2000..6535 K, and go back", flash_step},
    {kByType, nullptr, "Control a light whose model is unknown as its type allows", nullptr},
};

std::uint8_t transition_of(const LightOptions& options) {
    const auto given = options.find(kTransition);
    if (given == options.end()) {
        return HueLight::kDefaultTransition;
    }
    const unsigned time = number_of(kTransition, given->second, kMilliseconds);
    if (time % kTransitionStepMilliseconds != 0) {
        throw Failure(ExitCode::usage, "--transition: " + given->second +
                                           " is not a multiple of 100 (0..25500 milliseconds)");
    }
    return static_cast<std::uint8_t>(time / kTransitionStepMilliseconds);
}

bool contradict(const Step& first, const Step& second) {
    const bool is_change = first.phase >= Phase::switch_on && first.phase <= Phase::start_loop;
    return (is_change && second.phase == Phase::switch_off) ||
           (first.phase == Phase::colour && second.phase == Phase::colour);
}

void expect_no_contradiction(const std::vector<Step>& steps) {
    for (auto first = steps.begin(); first != steps.end(); ++first) {
        const auto second = std::find_if(
            first + 1, steps.end(), [&](const Step& later) { return contradict(*first, later); });
        if (second != steps.end()) {
            throw Failure(ExitCode::usage, first->option + " and " + second->option +
                                               " contradict each other; leave one out");
        }
    }
}

bool takes_time(const Step& step) {
    return step.phase == Phase::switch_on || step.phase == Phase::colour ||
           step.phase == Phase::dim || step.phase == Phase::switch_off;
}

}  // namespace

const std::vector<LightOption>& light_options() {
    return kOptions;
}

std::vector<Step> steps_of(const LightOptions& options) {
    const std::uint8_t transition = transition_of(options);
    std::vector<Step> steps;
    for (const LightOption& option : kOptions) {
        const auto given = options.find(option.name);
        if (given != options.end() && option.read != nullptr) {
            steps.push_back(option.read(option.name, given->second, transition));
        }
    }
    std::stable_sort(steps.begin(), steps.end(),
                     [](const Step& a, const Step& b) { return a.phase < b.phase; });
    expect_no_contradiction(steps);
    if (options.count(kTransition) != 0 && std::none_of(steps.begin(), steps.end(), takes_time)) {
        throw Failure(ExitCode::usage,
                      "--transition needs a change that takes time; add --on, --off, --brightness, "
                      "a temperature or a colour");
    }
    // "--off" and "--brightness 0" are one step.
    const auto is_same_phase = [](const Step& a, const Step& b) { return a.phase == b.phase; };
    steps.erase(std::unique(steps.begin(), steps.end(), is_same_phase), steps.end());
    return steps;
}

}  // namespace huectl
