/// A colour by its red, green and blue channel, 0..255 each.
#pragma once

#include <cstdint>

struct RGB {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
};
