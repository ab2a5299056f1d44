/// A colour by hue, saturation and value, each in a byte.
#pragma once

#include <cstdint>

struct HSVColor {
    std::uint8_t hue = 0;  ///< 0..255 is the whole colour circle; the bridge's hue is 257 times it
    std::uint8_t saturation = 0;  ///< 0 is white; a bridge takes 254 at most
    std::uint8_t value = 0;       ///< brightness; a bridge takes 254 at most
};
