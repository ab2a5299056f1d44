#include "huelib/SimpleBrightnessStrategy.h"

#include "huelib/CachedLightState.h"
#include "huelib/HueLight.h"
#include "huelib/LightStateChange.h"

namespace {
constexpr unsigned int kMaxBrightness = 254;
}

bool SimpleBrightnessStrategy::setBrightness(unsigned int bri, std::uint8_t transition,
                                             HueLight& light) const {
    LightStateChange change(light, transition);
    if (bri == 0) {
        return change.current().isOn() ? light.OffNoRefresh(transition) : true;
    }
    if (bri != change.current().brightness()) {
        change.set("bri", bri < kMaxBrightness ? bri : kMaxBrightness);
    }
    return change.send();
}

unsigned int SimpleBrightnessStrategy::getBrightness(HueLight& light) const {
    light.refreshState();
    return CachedLightState(light.getState()).brightness();
}

unsigned int SimpleBrightnessStrategy::getBrightness(const HueLight& light) const {
    return CachedLightState(light.getState()).brightness();
}
