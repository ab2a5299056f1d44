/// A colour by hue, saturation and value, each in a byte.
#pragma once

#include <cstdint>

struct HSVColor {
    std::uint8_t hue = 0;  ///< 0..255, once round the circle; the bridge's hue is 257 times it
    std::uint8_t saturation = 0;  ///< 0 is white; a bridge accepts at most 254
    std::uint8_t value = 0;       ///< brightness; a bridge accepts at most 254
};
