#include "huelib/LightList.h"

#include <memory>
#include <ostream>
#include <streambuf>

#include <json/writer.h>

#include "huelib/JsonAccess.h"
#include "huelib/LightDescription.h"

namespace {

// A buffer with the size of a log line.
class LineBuffer final : public std::streambuf {
  public:
    LineBuffer() { setp(text, text + sizeof text); }
    std::string written() const { return {pbase(), pptr()}; }

  private:
    char text[LightList::kMaxStyledBytes];
};

// The beginning of toStyledString's result, which can be many times as large as the answer.
std::string beginningOfStyledText(const Json::Value& value) {
    LineBuffer buffer;
    std::ostream stream(&buffer);
    stream.exceptions(std::ios::badbit);
    const std::unique_ptr<Json::StreamWriter> writer(Json::StreamWriterBuilder().newStreamWriter());
    try {
        writer->write(value, &stream);
        stream << '\n';
    } catch (const std::ios::failure&) {
        // The buffer is full: stop writing.
    }
    return buffer.written();
}

std::string textOf(const Json::Value& object, const char* name) {
    return LightDescription::keptText(JsonAccess::asString(JsonAccess::member(object, name)));
}

LightList::Entry entryOf(const Json::Value& light) {
    const Json::Value& capabilities = JsonAccess::member(light, "capabilities");
    const Json::Value& control = JsonAccess::member(capabilities, "control");
    return {textOf(light, "modelid"), textOf(light, "type"), textOf(control, "colorgamuttype"),
            beginningOfStyledText(light)};
}

}  // namespace

LightList::LightList(const Json::Value& lights) {
    if (!lights.isObject()) {
        return;
    }
    for (auto light = lights.begin(); light != lights.end() && entries.size() < kMaxLights;
         ++light) {
        entries.emplace(LightDescription::keptText(light.name()), entryOf(*light));
    }
}

const LightList::Entry* LightList::find(int id) const {
    const auto found = entries.find(std::to_string(id));
    return found != entries.end() ? &found->second : nullptr;
}

std::vector<std::string> LightList::names() const {
    std::vector<std::string> result;
    result.reserve(entries.size());
    for (const auto& entry : entries) {
        result.push_back(entry.first);
    }
    return result;
}
