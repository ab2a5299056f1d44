#include "simulator/JsonText.h"

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <json/reader.h>
#include <json/writer.h>

namespace simulator {
namespace {

bool parse(const std::string& text, Json::Value& value, std::string& problem) {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), &value, &problem);
}

}  // namespace

std::optional<Json::Value> parse_json(const std::string& text) {
    Json::Value value;
    std::string problem;
    return parse(text, value, problem) ? std::optional<Json::Value>(value) : std::nullopt;
}

std::string compact_json(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["precision"] = 4;  // as the bridge writes xy
    builder["precisionType"] = "decimal";
    return Json::writeString(builder, value);
}

std::string load_text_file(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file || text.str().empty()) {
        throw std::runtime_error("cannot read " + path);
    }
    return text.str();
}

Json::Value load_json_file(const std::string& path) {
    Json::Value value;
    std::string problem;
    if (!parse(load_text_file(path), value, problem)) {
        throw std::runtime_error(path + ": " + problem);
    }
    return value;
}

}  // namespace simulator
