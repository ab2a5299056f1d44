/// Controls the colour temperature of a light that also shows colours.
#pragma once

#include "huelib/SimpleColorTemperatureStrategy.h"

class ExtendedColorTemperatureStrategy : public SimpleColorTemperatureStrategy {
  public:
    /// Sends the temperature also if it equals the cached one but the light shows a colour.
    bool setColorTemperature(unsigned int mired, std::uint8_t transition,
                             HueLight& light) const override;
    /// Works in every colour mode.
    bool alertTemperature(unsigned int mired, HueLight& light) const override;
};
