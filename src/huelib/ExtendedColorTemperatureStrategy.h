/// White tones of a colour light, which may have to come back from a colour first.
#pragma once

#include "huelib/SimpleColorTemperatureStrategy.h"

class ExtendedColorTemperatureStrategy : public SimpleColorTemperatureStrategy {
  public:
    /// Sends the temperature also when it is the cached one but the light shows a colour.
    bool setColorTemperature(unsigned int mired, std::uint8_t transition,
                             HueLight& light) const override;
    /// In every colour mode.
    bool alertTemperature(unsigned int mired, HueLight& light) const override;
};
