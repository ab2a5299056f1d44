#include "huelib/SimpleColorTemperatureStrategy.h"

#include "huelib/AlertSequence.h"
#include "huelib/CachedLightState.h"
#include "huelib/ColorTemperatureRange.h"
#include "huelib/HueLight.h"
#include "huelib/LightStateChange.h"

bool SimpleColorTemperatureStrategy::setColorTemperature(unsigned int mired,
                                                         std::uint8_t transition,
                                                         HueLight& light) const {
    LightStateChange change(light, transition);
    if (mired != change.current().temperature()) {
        change.set("ct", clampMired(mired));
    }
    return change.send();
}

bool SimpleColorTemperatureStrategy::alertTemperature(unsigned int mired, HueLight& light) const {
    return runAlert(light, {"ct"},
                    [&] { return light.setColorTemperature(mired, kAlertTransition); });
}

unsigned int SimpleColorTemperatureStrategy::getColorTemperature(HueLight& light) const {
    light.refreshState();
    return CachedLightState(light.getState()).temperature();
}

unsigned int SimpleColorTemperatureStrategy::getColorTemperature(const HueLight& light) const {
    return CachedLightState(light.getState()).temperature();
}
