/// Parsers of the values on the command line. Pure functions. An invalid text throws a usage
/// Failure that names `what` and the valid values.
#pragma once

#include <cstdint>
#include <string>

#include "hue_handler/BridgeObject.h"
#include "huelib/HSVColor.h"
#include "huelib/RGB.h"
#include "huelib/XYColor.h"

namespace huectl {

struct NumberRange {
    unsigned smallest, largest;
    const char* unit;
};

constexpr NumberRange kPercent{0, 100, "percent"};
constexpr NumberRange kMired{153, 500, "mired"};
/// The values whose truncated reciprocal is in kMired.
constexpr NumberRange kKelvin{2000, 6535, "kelvin"};
constexpr NumberRange kMilliseconds{0, 25500, "milliseconds"};
constexpr NumberRange kObjectId{1, INT32_MAX, "the ID of a bridge object"};
constexpr NumberRange kLightId{1, 65535, "a light's number"};

/// Decimal digits only.
unsigned number_of(const std::string& what, const std::string& text, const NumberRange& range);
/// Six hex digits. Not grey, black or white: a colour without saturation switches a light off.
RGB rgb_of(const std::string& what, const std::string& text);
/// "H,S,V", 0..255 each, not all 0.
HSVColor hsv_of(const std::string& what, const std::string& text);
/// "X,Y", 0..1 each.
XYColor xy_of(const std::string& what, const std::string& text);
bool switch_of(const std::string& what, const std::string& text);
/// 1 to 32 printable characters.
std::string name_of(const std::string& what, const std::string& text);

/// A host name or dotted address of at most kParameterBytes.
std::string address_of(const std::string& text);
/// A user name that can follow "/api/" in a request line, of at most kParameterBytes.
std::string user_of(const std::string& text);

/// The longest address and user name that the daemon reads from its optional parameters.
constexpr std::size_t kParameterBytes = hue_handler::BridgeObject::kParameterBytes;

}  // namespace huectl
