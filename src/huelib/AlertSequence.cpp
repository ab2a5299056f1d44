#include "huelib/AlertSequence.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "huelib/CachedLightState.h"
#include "huelib/HueLight.h"

namespace {

constexpr std::chrono::milliseconds kBeforeBlinking{120};
constexpr std::chrono::milliseconds kBlinking{1600};

using Restore = std::function<bool(HueLight&)>;

Restore rememberHueSaturation(const CachedLightState& cached) {
    return [hue = static_cast<std::uint16_t>(cached.hue()),
            sat = static_cast<std::uint8_t>(cached.saturation())](HueLight& light) {
        return light.setColorHueSaturation(hue, sat, kAlertTransition);
    };
}

Restore rememberXY(const CachedLightState& cached) {
    return [xy = XYColor{cached.x(), cached.y(), 0}](HueLight& light) {
        return light.setColorXY(xy, kAlertTransition);
    };
}

Restore rememberTemperature(const CachedLightState& cached) {
    return [mired = cached.temperature()](HueLight& light) {
        return light.setColorTemperature(mired, kAlertTransition);
    };
}

struct ColorMode {
    std::string_view name;
    Restore (*remember)(const CachedLightState& cached);
    bool (HueLight::*canRestore)() const;
};

constexpr ColorMode kColorModes[] = {
    {"hs", rememberHueSaturation, &HueLight::hasColorControl},
    {"xy", rememberXY, &HueLight::hasColorControl},
    {"ct", rememberTemperature, &HueLight::hasTemperatureControl},
};

const ColorMode* findMode(std::string_view name,
                          std::initializer_list<std::string_view> acceptedModes) {
    if (std::find(acceptedModes.begin(), acceptedModes.end(), name) == acceptedModes.end()) {
        return nullptr;
    }
    const auto* found = std::find_if(std::begin(kColorModes), std::end(kColorModes),
                                     [name](const ColorMode& mode) { return mode.name == name; });
    return found != std::end(kColorModes) ? found : nullptr;
}

}  // namespace

bool runAlert(HueLight& light, std::initializer_list<std::string_view> acceptedModes,
              const std::function<bool()>& showAlert) {
    light.refreshState();
    const CachedLightState cached(light);
    const bool wasOn = cached.isOn();
    const ColorMode* mode = findMode(cached.colorMode(), acceptedModes);
    if (mode == nullptr) {
        return false;
    }
    const Restore restore = mode->remember(cached);

    if (!showAlert()) {
        return false;
    }
    std::this_thread::sleep_for(kBeforeBlinking);
    if (!light.alert()) {
        return false;
    }
    std::this_thread::sleep_for(kBlinking);

    const bool restored = restore(light);
    if (wasOn) {
        return restored;
    }
    // Showing the alert has switched the light on.
    return light.OffNoRefresh(kAlertTransition) && (light.*mode->canRestore)();
}
