#include "huelib/HueFinder.h"

#include <algorithm>
#include <optional>
#include <regex>
#include <stdexcept>
#include <utility>

#include "huelib/UPnP.h"

namespace {

constexpr int kHttpPort = 80;
// More than twice a bridge's description. The standard library's expressions go several calls
// deeper for every character that a repetition takes (up to 1 KiB of stack under a sanitizer), so
// what they are given has to be bounded.
constexpr std::size_t kMaxDescriptionBytes = 4096;

// The host of "http://host:port/path"; the rest of the text when no port stands behind it.
std::optional<std::string> hostOf(const std::string& location) {
    const std::size_t slashes = location.find("//");
    if (slashes == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = slashes + 2;
    return location.substr(start, location.find(':', start) - start);
}

// The serial number in a bridge's description; nothing for another device's.
std::optional<std::string> serialNumberOf(std::string description) {
    static const std::regex kIsBridge[] = {
        std::regex("<manufacturer>Royal Philips Electronics</manufacturer>"),
        std::regex("<manufacturerURL>http://www\\.philips\\.com</manufacturerURL>"),
        std::regex("<modelName>Philips hue bridge[^<]*</modelName>"),
    };
    static const std::regex kSerialNumber("<serialNumber>(\\w+)</serialNumber>");

    description.resize(std::min(description.size(), kMaxDescriptionBytes));
    for (const std::regex& element : kIsBridge) {
        if (!std::regex_search(description, element)) {
            return std::nullopt;
        }
    }
    std::smatch match;
    if (!std::regex_search(description, match, kSerialNumber)) {
        return std::nullopt;
    }
    return match[1].str();
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
        const std::string description =
            http_handler->GETString("/description.xml", "application/xml", "", *host, kHttpPort);
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
