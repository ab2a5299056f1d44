/// Reading of JSON that comes from a bridge. JsonCpp throws when a value has another type than the
/// one asked for; these never do, whatever the shape of what they are given.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <json/value.h>

namespace JsonAccess {

/// False when `text` is not JSON, is nested more than 32 deep or may hold more than 200000 values
/// by its commas and brackets, which no bridge has; `result` is then unspecified.
bool parse(const std::string& text, Json::Value& result);

/// The member of an object; null when there is none or `value` is no object. Lives as long as
/// `value`.
const Json::Value& member(const Json::Value& value, std::string_view name);
/// The element of an array; null when there is none or `value` is no array. Lives as long as
/// `value`.
const Json::Value& element(const Json::Value& value, Json::ArrayIndex index);

/// Empty for null and for what JsonCpp does not convert: containers, text where a number is wanted,
/// what is not a number.
std::optional<bool> toBool(const Json::Value& value);
std::optional<double> toDouble(const Json::Value& value);
std::optional<std::string> toString(const Json::Value& value);
/// The same, and empty also for a negative number and for one beyond the type. A fraction is cut
/// off.
std::optional<unsigned int> toUnsigned(const Json::Value& value);

/// The same with the default of the type in place of nothing.
bool asBool(const Json::Value& value);
unsigned int asUnsigned(const Json::Value& value);
std::string asString(const Json::Value& value);
/// The same, clamped to what a float holds.
float asFloat(const Json::Value& value);

}  // namespace JsonAccess
