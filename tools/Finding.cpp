#include "Finding.h"

#include "Text.h"

namespace huectl {
namespace {

constexpr std::size_t kDetailCharacters = 300;

std::string subject_of(const Finding& finding) {
    const std::string light = "light " + std::to_string(finding.light);
    if (finding.object == 0) {
        return finding.light == 0 ? "database" : light;
    }
    return "object " + std::to_string(finding.object) +
           (finding.light == 0 ? "" : " (" + light + ")");
}

std::string text_of(const Finding& finding) {
    return finding.kind->text +
           (finding.detail.empty() ? "" : ": " + printable(finding.detail, kDetailCharacters));
}

}  // namespace

std::string Finding::line() const {
    return kSeverities.at(static_cast<std::size_t>(kind->severity)) + (": " + subject_of(*this)) +
           ": " + text_of(*this) + "; " + kind->remedy + "\n";
}

Json::Value Finding::json() const {
    Json::Value json;
    json["kind"] = kind->name;
    json["severity"] = kSeverities.at(static_cast<std::size_t>(kind->severity));
    json["text"] = text_of(*this);
    json["remedy"] = kind->remedy;
    if (object != 0) {
        json["object"] = object;
    }
    if (light != 0) {
        json["light"] = light;
    }
    return json;
}

}  // namespace huectl
