#include "simulator/JsonText.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include <json/reader.h>
#include <json/writer.h>

namespace simulator {

std::optional<Json::Value> parse_json(const std::string& text, std::string* problem) {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    std::istringstream stream(text);
    Json::Value value;
    const bool is_json = Json::parseFromStream(builder, stream, &value, problem);
    return is_json ? std::optional<Json::Value>(value) : std::nullopt;
}

std::string compact_json(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["precision"] = 4;  // as the bridge writes xy
    builder["precisionType"] = "decimal";
    return Json::writeString(builder, value);
}

std::string load_text_file(const std::string& path) {
    std::ostringstream text;
    if (!(text << std::ifstream(path).rdbuf())) {
        throw std::runtime_error("cannot read " + path);
    }
    return text.str();
}

Json::Value load_json_file(const std::string& path) {
    std::string problem;
    const auto value = parse_json(load_text_file(path), &problem);
    return value ? *value : throw std::runtime_error(path + ": " + problem);
}

}  // namespace simulator
