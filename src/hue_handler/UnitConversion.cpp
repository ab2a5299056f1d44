#include "hue_handler/UnitConversion.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "libcbase/utility.h"

namespace hue_handler {
namespace {

constexpr std::size_t kColorPayloadLength = 7;  // "#RRGGBB"

// The same bits read as unsigned. The ends are those of 32 bits, signed below and unsigned above,
// so that neither a very high nor a very low number wraps into the light's range.
std::uint32_t as_unsigned(std::int64_t number) {
    return static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(number, std::numeric_limits<std::int32_t>::min(),
                                 std::numeric_limits<std::uint32_t>::max()));
}

std::uint8_t byte_of_word(std::int32_t word, unsigned shift) {
    return static_cast<std::uint8_t>((static_cast<std::uint32_t>(word) >> shift) & 0xFFU);
}

}  // namespace

std::uint32_t brightness_of_percent(std::int32_t percent) {
    return as_unsigned(std::int64_t{percent} * 254 / 100);
}

std::uint32_t mired_of_percent(std::int32_t percent) {
    return as_unsigned(std::int64_t{347} * percent / 100 + 153);
}

HSVColor hsv_of_word(std::int32_t word) {
    return {byte_of_word(word, 16), byte_of_word(word, 8), byte_of_word(word, 0)};
}

std::uint32_t percent_of_brightness(std::uint32_t brightness) {
    return brightness * 100U / 254U;
}

std::uint32_t percent_of_mired(std::uint32_t mired) {
    return (mired * 100U - 15300U) / 347U;
}

std::string text_of_hsv(std::uint8_t hue, std::uint8_t saturation, std::uint8_t value) {
    char text[kColorPayloadLength + 1];
    std::snprintf(text, sizeof(text), "#%02X%02X%02X", static_cast<unsigned>(hue),
                  static_cast<unsigned>(saturation), static_cast<unsigned>(value));
    return text;
}

std::optional<std::int32_t> number_of_payload(const std::string& payload, std::string& error) {
    const bool is_color = payload.size() == kColorPayloadLength && payload[0] == '#';
    const bool is_text = payload.find('\0') == std::string::npos;
    std::int32_t number = 0;
    int result = PARSE_NUMBER_INVALID;
    if (is_text) {
        result = is_color ? parse_int32(payload.c_str() + 1, 16, &number)
                          : parse_int32(payload.c_str(), 10, &number);
    }
    if (result == PARSE_NUMBER_OK) {
        return number;
    }
    error = (result == PARSE_NUMBER_RANGE ? "out of range '" : "not a number '") + payload + "'";
    return std::nullopt;
}

}  // namespace hue_handler
