/// White tones of a light that shows nothing else.
#pragma once

#include "huelib/ColorTemperatureStrategy.h"

class SimpleColorTemperatureStrategy : public ColorTemperatureStrategy {
  public:
    /// Sends the temperature only when it differs from the cached one, and "on" for a light that is
    /// off.
    bool setColorTemperature(unsigned int mired, std::uint8_t transition,
                             HueLight& light) const override;
    /// Only for a light in temperature mode; false without a request for any other.
    bool alertTemperature(unsigned int mired, HueLight& light) const override;

    unsigned int getColorTemperature(HueLight& light) const override;
    unsigned int getColorTemperature(const HueLight& light) const override;
};
