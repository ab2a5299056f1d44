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

bool restoreColor(HueLight& light, const CachedLightState& before, const std::string& mode) {
    if (mode == "hs") {
        return light.setColorHueSaturation(static_cast<std::uint16_t>(before.hue()),
                                           static_cast<std::uint8_t>(before.saturation()),
                                           kAlertTransition);
    }
    if (mode == "xy") {
        return light.setColorXY({before.x(), before.y(), 0}, kAlertTransition);
    }
    return light.setColorTemperature(before.temperature(), kAlertTransition);
}

}  // namespace

bool runAlert(HueLight& light, std::initializer_list<std::string_view> acceptedModes,
              const std::function<bool()>& showAlert) {
    light.refreshState();
    const Json::Value description = light.getState();  // a copy: each step refreshes the light
    const CachedLightState before(description);
    const std::string mode = before.colorMode();
    if (std::find(acceptedModes.begin(), acceptedModes.end(), mode) == acceptedModes.end()) {
        return false;
    }

    if (!showAlert()) {
        return false;
    }
    std::this_thread::sleep_for(kBeforeBlinking);
    if (!light.alert()) {
        return false;
    }
    std::this_thread::sleep_for(kBlinking);

    const bool restored = restoreColor(light, before, mode);
    if (before.isOn()) {
        return restored;
    }
    // Showing the alert has switched the light on.
    return light.OffNoRefresh(kAlertTransition) &&
           (mode == "ct" ? light.hasTemperatureControl() : light.hasColorControl());
}
