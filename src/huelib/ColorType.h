/// The colour capability class of a light model. Informational: what a light can do depends on the
/// strategies that it has.
#pragma once

#include <cstdint>

enum class ColorType : std::int32_t {
    Undefined = 0,          ///< not assigned yet
    NoColor = 1,            ///< brightness only
    ColorA = 2,             ///< colour of gamut A, no colour temperature
    ColorB = 3,             ///< colour of gamut B and colour temperature
    ColorC = 4,             ///< colour of gamut C and colour temperature
    Temperature = 5,        ///< colour temperature, no colour
    ColorATemperature = 6,  ///< reserved, no model has it
    ColorBTemperature = 7,  ///< reserved, no model has it
    ColorCTemperature = 8,  ///< controlled as ColorC
};
