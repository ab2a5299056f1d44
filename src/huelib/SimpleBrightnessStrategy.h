/// Controls the brightness of every kind of light.
#pragma once

#include "huelib/BrightnessStrategy.h"

class SimpleBrightnessStrategy : public BrightnessStrategy {
  public:
    /// Sends the brightness only if it differs from the cached one, and "on" for a light that is
    /// off. A value above 253 is sent as 254.
    bool setBrightness(unsigned int bri, std::uint8_t transition, HueLight& light) const override;
    /// As in the base class.
    unsigned int getBrightness(HueLight& light) const override;
    unsigned int getBrightness(const HueLight& light) const override;
};
