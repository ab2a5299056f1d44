#include "huelib/ExtendedColorTemperatureStrategy.h"

#include "huelib/AlertSequence.h"
#include "huelib/ColorTemperatureRange.h"
#include "huelib/HueLight.h"
#include "huelib/LightStateChange.h"

bool ExtendedColorTemperatureStrategy::setColorTemperature(unsigned int mired,
                                                           std::uint8_t transition,
                                                           HueLight& light) const {
    LightStateChange change(light, transition);
    if (mired != change.current().temperature() || change.current().colorMode() != "ct") {
        change.set("ct", clampMired(mired));
    }
    return change.send();
}

bool ExtendedColorTemperatureStrategy::alertTemperature(unsigned int mired, HueLight& light) const {
    return runAlert(light, {"hs", "xy", "ct"},
                    [&] { return light.setColorTemperature(mired, kAlertTransition); });
}
