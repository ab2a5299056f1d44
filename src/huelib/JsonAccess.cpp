#include "huelib/JsonAccess.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>

#include <json/reader.h>

namespace JsonAccess {
namespace {

// A parsed value takes more than a hundred bytes, even if its text has two. Those of a bridge take
// about twenty bytes of text: this many do not fit into the largest answer that is read.
constexpr std::ptrdiff_t kMaxValues = 200000;

// At least the number of values without the first, since one of these precedes each.
std::ptrdiff_t separatorsIn(const std::string& text) {
    return std::count_if(text.begin(), text.end(),
                         [](char c) { return c == ',' || c == '[' || c == '{'; });
}

Json::CharReaderBuilder builderOfReaders() {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    // A bridge's answers are less than ten levels deep. The reader recurses for each level, and
    // styled text has a tab in each line for each level.
    builder["stackLimit"] = 32;
    return builder;
}

template <typename T>
std::optional<T> converted(const Json::Value& value, Json::ValueType type,
                           T (Json::Value::*as)() const) {
    if (value.isNull() || !value.isConvertibleTo(type)) {
        return std::nullopt;
    }
    return (value.*as)();
}

}  // namespace

bool parse(const std::string& text, Json::Value& result) {
    if (separatorsIn(text) > kMaxValues) {
        return false;
    }
    static const Json::CharReaderBuilder builder = builderOfReaders();
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string problems;
    try {
        return reader->parse(text.data(), text.data() + text.size(), &result, &problems);
    } catch (const Json::Exception&) {
        return false;  // the reader throws for nesting beyond its stack limit
    }
}

const Json::Value& member(const Json::Value& value, std::string_view name) {
    const Json::Value* found =
        value.isObject() ? value.find(name.data(), name.data() + name.size()) : nullptr;
    return found != nullptr ? *found : Json::Value::nullSingleton();
}

const Json::Value& element(const Json::Value& value, Json::ArrayIndex index) {
    return value.isArray() ? value[index] : Json::Value::nullSingleton();
}

std::optional<bool> toBool(const Json::Value& value) {
    return converted(value, Json::booleanValue, &Json::Value::asBool);
}

std::optional<unsigned int> toUnsigned(const Json::Value& value) {
    return converted(value, Json::uintValue, &Json::Value::asUInt);
}

std::optional<double> toDouble(const Json::Value& value) {
    const auto number = converted(value, Json::realValue, &Json::Value::asDouble);
    return number && std::isnan(*number) ? std::nullopt : number;
}

std::optional<std::string> toString(const Json::Value& value) {
    return converted(value, Json::stringValue, &Json::Value::asString);
}

bool asBool(const Json::Value& value) {
    return toBool(value).value_or(false);
}

unsigned int asUnsigned(const Json::Value& value) {
    return toUnsigned(value).value_or(0);
}

float asFloat(const Json::Value& value) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(toDouble(value).value_or(0), -kLargest, kLargest));
}

std::string asString(const Json::Value& value) {
    return toString(value).value_or(std::string());
}

}  // namespace JsonAccess
