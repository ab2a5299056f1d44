/// Reading and writing JSON as the house needs it. Stateless; any thread may call.
#pragma once

#include <optional>
#include <string>

#include <json/value.h>

namespace simulator {

/// Nothing when `text` is not JSON, whole.
std::optional<Json::Value> parse_json(const std::string& text);
/// One line without blanks.
std::string compact_json(const Json::Value& value);
/// Throws std::runtime_error that names the file and what is wrong with it.
Json::Value load_json_file(const std::string& path);
/// Throws std::runtime_error.
std::string load_text_file(const std::string& path);

}  // namespace simulator
