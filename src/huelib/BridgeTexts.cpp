#include "huelib/BridgeTexts.h"

#include <algorithm>

#include "huelib/JsonAccess.h"

namespace BridgeTexts {
namespace {

constexpr std::size_t kIdDigits = 16;
constexpr std::size_t kSerialDigits = 12;
constexpr std::size_t kLongestText = 100;
constexpr std::string_view kModelStart = "Philips hue bridge";

// In capitals; empty unless it has this number of hexadecimal digits.
std::string hexadecimal(std::string_view text, std::size_t digits) {
    constexpr std::string_view kDigits = "0123456789ABCDEFabcdef";
    if (text.size() != digits || text.find_first_not_of(kDigits) != std::string_view::npos) {
        return {};
    }
    std::string capitals(text);
    std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                   [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
    return capitals;
}

// The content of the first element with this name; empty if it has elements in it.
std::string_view elementIn(std::string_view xml, const std::string& name) {
    const std::string opening = "<" + name + ">";
    const std::size_t found = xml.find(opening);
    if (found == std::string_view::npos) {
        return {};
    }
    xml.remove_prefix(found + opening.size());
    const std::string_view content = xml.substr(0, xml.find('<'));
    xml.remove_prefix(content.size());
    const std::string closing = "</" + name + ">";
    return xml.substr(0, closing.size()) == closing ? content : std::string_view();
}

}  // namespace

std::string bridgeId(std::string_view text) {
    return hexadecimal(text, kIdDigits);
}

std::string shortText(std::string text) {
    return text.size() <= kLongestText ? std::move(text) : std::string();
}

bool readConfig(const std::string& answer, BridgeSearch::Bridge& bridge) {
    Json::Value config;
    if (!JsonAccess::parse(answer, config)) {
        return false;
    }
    const auto text = [&](const char* name) {
        return shortText(JsonAccess::asString(JsonAccess::member(config, name)));
    };
    std::string id = bridgeId(text("bridgeid"));
    if (id.empty()) {
        return false;
    }
    bridge.id = std::move(id);
    bridge.name = text("name");
    bridge.model = text("modelid");
    bridge.software = text("swversion");
    bridge.api = text("apiversion");
    return true;
}

bool readDescription(std::string_view answer, BridgeSearch::Bridge& bridge) {
    const std::string_view modelName = elementIn(answer, "modelName");
    if (modelName.substr(0, kModelStart.size()) != kModelStart) {
        return false;
    }
    const auto text = [&](const char* name) { return std::string(elementIn(answer, name)); };
    // The ID is the hardware address, which is the serial number, extended to 64 bits (EUI-64).
    std::string id = hexadecimal(text("serialNumber"), kSerialDigits);
    bridge.id = id.empty() ? id : id.insert(kSerialDigits / 2, "FFFE");
    bridge.name = shortText(text("friendlyName"));
    bridge.model = shortText(text("modelNumber"));
    if (bridge.model.empty()) {
        bridge.model = shortText(std::string(modelName));
    }
    return true;
}

}  // namespace BridgeTexts
