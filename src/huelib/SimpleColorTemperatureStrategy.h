/// Controls the colour temperature of a light that shows no colours.
#pragma once

#include "huelib/ColorTemperatureStrategy.h"

class SimpleColorTemperatureStrategy : public ColorTemperatureStrategy {
  public:
    /// Sends the temperature only if it differs from the cached one, and "on" for a light that is
    /// off.
    bool setColorTemperature(unsigned int mired, std::uint8_t transition,
                             HueLight& light) const override;
    /// Works in the mode "ct"; false in any other, with no request but the refresh.
    bool alertTemperature(unsigned int mired, HueLight& light) const override;
    /// As in the base class.
    unsigned int getColorTemperature(HueLight& light) const override;
    unsigned int getColorTemperature(const HueLight& light) const override;
};
