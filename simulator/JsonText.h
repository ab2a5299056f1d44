/// Reads and writes JSON. Stateless; any thread may call.
#pragma once

#include <optional>
#include <string>

#include <json/value.h>

namespace simulator {

/// Nothing unless the whole of `text` is JSON; `problem`, unless null, then receives the reason.
std::optional<Json::Value> parse_json(const std::string& text, std::string* problem = nullptr);
/// JSON in one line without blanks.
std::string compact_json(const Json::Value& value);
/// Throws std::runtime_error with the file's name and the fault.
Json::Value load_json_file(const std::string& path);
/// Throws std::runtime_error if the file is empty too.
std::string load_text_file(const std::string& path);

}  // namespace simulator
