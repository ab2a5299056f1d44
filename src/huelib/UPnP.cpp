#include "huelib/UPnP.h"

#include <algorithm>
#include <optional>
#include <set>

namespace {

constexpr const char* kSearch =
    "M-SEARCH * HTTP/1.1\r\n"
    "HOST: 239.255.255.250:1900\r\n"
    "MAN: \"ssdp:discover\"\r\n"
    "MX: 5\r\n"
    "ST: ssdp:all\r\n\r\n";
constexpr const char* kGroup = "239.255.255.250";
constexpr int kPort = 1900;

// The text after the key and one blank, up to the end of its line. An answer does not include the
// empty line after it, so its last line ends with the answer.
std::optional<std::string> valueOf(const std::string& key, const std::string& answer) {
    const std::size_t found = answer.find(key);
    if (found == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = std::min(found + key.size() + 1, answer.size());
    return answer.substr(start, answer.find("\r\n", start) - start);
}

}  // namespace

std::vector<std::pair<std::string, std::string>> UPnP::getDevices(
    const std::shared_ptr<const IHttpHandler>& handler) {
    std::vector<std::pair<std::string, std::string>> devices;
    std::set<std::pair<std::string, std::string>> known;
    for (const std::string& answer :
         handler->sendMulticast(kSearch, kGroup, kPort, int{kListenPeriod.count()})) {
        const std::optional<std::string> location = valueOf("LOCATION:", answer);
        const std::optional<std::string> server = valueOf("SERVER:", answer);
        if (location && server && known.emplace(*location, *server).second) {
            devices.emplace_back(*location, *server);
        }
    }
    return devices;
}
