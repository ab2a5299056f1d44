/// Colours of a light that also shows white tones: an alert can come back to a temperature.
#pragma once

#include "huelib/SimpleColorHueStrategy.h"

class ExtendedColorHueStrategy : public SimpleColorHueStrategy {
  public:
    /// In every colour mode.
    bool alertHueSaturation(std::uint16_t hue, std::uint8_t sat, HueLight& light) const override;
    bool alertXY(XYColor xy, HueLight& light) const override;
    bool alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b, HueLight& light) const override;
};
