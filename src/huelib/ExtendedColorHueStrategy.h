/// Controls the colour of a light that also shows white tones: an alert can restore a temperature.
#pragma once

#include "huelib/SimpleColorHueStrategy.h"

class ExtendedColorHueStrategy : public SimpleColorHueStrategy {
  public:
    /// Work in every colour mode.
    bool alertHueSaturation(std::uint16_t hue, std::uint8_t sat, HueLight& light) const override;
    bool alertXY(XYColor xy, HueLight& light) const override;
    bool alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b, HueLight& light) const override;
};
