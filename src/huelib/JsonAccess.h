/// Reads JSON from a bridge. JsonCpp throws if a value has another type than the requested one;
/// these functions never throw for any value.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <json/value.h>

namespace JsonAccess {

/// False if `text` is not JSON, is nested more than 32 deep, or may contain more than 200000
/// values, counted by its commas and brackets; no bridge sends so many. `result` is then
/// unspecified.
bool parse(const std::string& text, Json::Value& result);

/// The member of an object; null if it is missing or `value` is not an object. Valid as long as
/// `value`.
const Json::Value& member(const Json::Value& value, std::string_view name);
/// The element of an array; null if it is missing or `value` is not an array. Valid as long as
/// `value`.
const Json::Value& element(const Json::Value& value, Json::ArrayIndex index);

/// Empty for null and for what JsonCpp does not convert: containers, text where a number is
/// requested, NaN.
std::optional<bool> toBool(const Json::Value& value);
std::optional<double> toDouble(const Json::Value& value);
std::optional<std::string> toString(const Json::Value& value);
/// The same; empty also for a negative number and for one beyond the type. Fractions are truncated.
std::optional<unsigned int> toUnsigned(const Json::Value& value);

/// The same with the default of the type instead of an empty result.
bool asBool(const Json::Value& value);
unsigned int asUnsigned(const Json::Value& value);
std::string asString(const Json::Value& value);
/// The same, clamped to the range of a float.
float asFloat(const Json::Value& value);

}  // namespace JsonAccess
