/// A colour by its three channels.
#pragma once

#include <cstdint>

struct RGB {
    std::uint8_t r = 0;  ///< red, 0..255
    std::uint8_t g = 0;  ///< green, 0..255
    std::uint8_t b = 0;  ///< blue, 0..255
};
