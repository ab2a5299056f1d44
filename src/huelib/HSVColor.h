/// A colour by hue, saturation and value, each in a byte.
#pragma once

#include <cstdint>

struct HSVColor {
    std::uint8_t hue =
        0;  ///< 0..255 is the whole colour circle; 257 times this is the bridge's hue
    std::uint8_t saturation = 0;  ///< 0 is white; a bridge accepts at most 254
    std::uint8_t value = 0;       ///< brightness; a bridge accepts at most 254
};
