// Every description of a light is printed as harmless text and as one JSON document. The input is a
// description, or any text.
#include <string>
#include <string_view>

#include <json/writer.h>

#include "fuzz/support/Surroundings.h"
#include "huelib/JsonAccess.h"
#include "tools/LightReport.h"
#include "tools/Text.h"

namespace {

using fuzzing::require;

constexpr std::size_t kLimit = 40;
constexpr std::size_t kLongestRow = 1000;

// Checks bytes, unlike the product: no control character of one or two bytes.
bool is_harmless(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool is_second = i > 0 && static_cast<unsigned char>(text[i - 1]) == 0xC2;
        if (byte < 0x20 || byte == 0x7F || (is_second && byte < 0xA0)) {
            return false;
        }
    }
    return true;
}

void check_text(std::string_view text) {
    const std::string shown = huectl::printable(text);
    require(is_harmless(shown), "printed text contains no control characters");
    require(huectl::is_printable(shown), "printed text is printable");
    require(huectl::printable(text, kLimit).size() <= 4 * kLimit, "a text is cut at its limit");
}

void check_light(const Json::Value& description) {
    const huectl::LightReport report(3, description);
    std::string row = huectl::table({report.row()});
    require(!row.empty() && row.back() == '\n', "a row is a line");
    row.pop_back();
    require(is_harmless(row) && row.size() <= kLongestRow, "a row is one short line");
    Json::Value reread;
    require(
        JsonAccess::parse(Json::writeString(Json::StreamWriterBuilder(), report.json()), reread),
        "a report is JSON");
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    check_text(input);
    Json::Value description;
    if (JsonAccess::parse(std::string(input), description)) {
        check_light(description);
    }
}
