/// Dims every kind of light.
#pragma once

#include "huelib/BrightnessStrategy.h"

class SimpleBrightnessStrategy : public BrightnessStrategy {
  public:
    /// Sends the brightness only when it differs from the cached one, and "on" for a light that is
    /// off. Above 253 becomes 254.
    bool setBrightness(unsigned int bri, std::uint8_t transition, HueLight& light) const override;

    unsigned int getBrightness(HueLight& light) const override;
    unsigned int getBrightness(const HueLight& light) const override;
};
