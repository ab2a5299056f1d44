#include "huelib/HueFinder.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "huelib/UPnP.h"

namespace {

// The host of "http://host:port/path"; without a port, the rest of the text.
std::optional<std::string> hostOf(const std::string& location) {
    const std::size_t slashes = location.find("//");
    if (slashes == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = slashes + 2;
    return location.substr(start, location.find(':', start) - start);
}

bool contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

bool isWordCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

// The first run of at least `least` characters between the two texts. Not a regular expression of
// the standard library: it recurses for each character of a run, so a device could exhaust the
// stack with a long answer.
template <typename IsInRun>
std::optional<std::string> runBetween(const std::string& text, std::string_view opening,
                                      IsInRun isInRun, std::size_t least,
                                      std::string_view closing) {
    std::size_t at = 0;
    while ((at = text.find(opening, at)) != std::string::npos) {
        at += opening.size();
        const auto start = text.begin() + static_cast<std::ptrdiff_t>(at);
        const std::string run(start, std::find_if_not(start, text.end(), isInRun));
        at += run.size();
        if (run.size() >= least && text.compare(at, closing.size(), closing) == 0) {
            return run;
        }
    }
    return std::nullopt;
}

// The serial number in a bridge's description; empty for another device. The last two searches are
// those of <modelName>Philips hue bridge[^<]*</modelName> and <serialNumber>(\w+)</serialNumber>.
std::optional<std::string> serialNumberOf(const std::string& description) {
    const auto isNoTag = [](char c) { return c != '<'; };
    if (!contains(description, "<manufacturer>Royal Philips Electronics</manufacturer>") ||
        !contains(description, "<manufacturerURL>http://www.philips.com</manufacturerURL>") ||
        !runBetween(description, "<modelName>Philips hue bridge", isNoTag, 0, "</modelName>")) {
        return std::nullopt;
    }
    return runBetween(description, "<serialNumber>", isWordCharacter, 1, "</serialNumber>");
}

}  // namespace

HueFinder::HueFinder(std::shared_ptr<const IHttpHandler> handler)
    : http_handler(std::move(handler)) {}

std::vector<HueFinder::HueIdentification> HueFinder::FindBridges() const {
    std::vector<HueIdentification> bridges;
    for (const auto& [location, server] : UPnP::getDevices(http_handler)) {
        if (server.find("IpBridge") == std::string::npos) {
            continue;
        }
        const std::optional<std::string> host = hostOf(location);
        if (!host) {
            continue;
        }
        const std::string description = http_handler->GETString(
            "/description.xml", "application/xml", "", *host, HueCommandAPI::kBridgePort);
        const std::optional<std::string> serialNumber = serialNumberOf(description);
        if (serialNumber) {
            bridges.push_back({*host, *serialNumber});
        }
    }
    return bridges;
}

Hue HueFinder::GetBridge(const HueIdentification& identification) {
    const auto known = usernames.find(identification.mac);
    if (known != usernames.end()) {
        return {identification.ip, known->second, http_handler};
    }
    Hue bridge(identification.ip, "", http_handler);
    const std::string username = bridge.requestUsername(identification.ip);
    if (username.empty()) {
        throw std::runtime_error("Failed to request username!");
    }
    AddUsername(identification.mac, username);
    return bridge;
}

void HueFinder::AddUsername(const std::string& mac, const std::string& username) {
    usernames[mac] = username;
}
