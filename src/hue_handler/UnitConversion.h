/// Conversions between the controller's object values and the bridge's units. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "huelib/HSVColor.h"

namespace hue_handler {

/// Percent to the bridge's brightness: percent * 254 / 100, truncated. A negative result is read as
/// unsigned, so it is 2^31 or more; one that 32 bits do not hold is the nearest of -2^31..2^32-1.
/// The light clamps to its own range: a negative percentage is its full brightness.
std::uint32_t brightness_of_percent(std::int32_t percent);
/// Percent to mired: 347 * percent / 100 + 153, truncated, so that 0..100 is 153..500. Negative and
/// very large results as above: the light clamps -1 to 153 mired, -45 and below to 500.
std::uint32_t mired_of_percent(std::int32_t percent);
/// A colour word 0xHHSSVV; bits above are ignored.
HSVColor hsv_of_word(std::int32_t word);

/// The bridge's brightness to percent: brightness * 100 / 254, truncated, in 32 bits.
std::uint32_t percent_of_brightness(std::uint32_t brightness);
/// Mired to percent: (mired * 100 - 15300) / 347 in unsigned 32-bit arithmetic. Less than 153 mired
/// wraps around to a very large number: the core is meant to see that such a light is out of range.
std::uint32_t percent_of_mired(std::uint32_t mired);
/// "#HHSSVV", upper-case hex.
std::string text_of_hsv(std::uint8_t hue, std::uint8_t saturation, std::uint8_t value);

/// The number in a RUN payload: "#RRGGBB" (six hex digits) as 0xRRGGBB, anything else as a whole
/// decimal number. On failure nothing, with the reason in `error`.
std::optional<std::int32_t> number_of_payload(const std::string& payload, std::string& error);

}  // namespace hue_handler
