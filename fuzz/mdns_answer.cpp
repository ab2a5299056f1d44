// The search for bridges of any make. Each part of the input is an answer to the search, by mDNS
// and by SSDP, of one of three senders in turn, and what that device says of itself.
#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <arpa/inet.h>

#include "fuzz/support/ScriptedBridge.h"
#include "fuzz/support/Surroundings.h"
#include "huelib/BridgeAnnouncements.h"
#include "huelib/BridgeTexts.h"
#include "huelib/MdnsMessage.h"

namespace {

using fuzzing::require;
using Bridge = BridgeSearch::Bridge;

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestText = 100;

void require_texts(const Bridge& bridge) {
    const bool is_id =
        bridge.id.size() == 16 && std::all_of(bridge.id.begin(), bridge.id.end(), [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
        });
    require(bridge.id.empty() || is_id, "an ID has 16 hexadecimal digits in capitals");
    for (const std::string* text : {&bridge.name, &bridge.model, &bridge.software, &bridge.api}) {
        require(text->size() <= kLongestText, "the length of a text is limited");
    }
}

void check_records(std::string_view answer) {
    for (const MdnsMessage::Record& record : MdnsMessage::read(answer)) {
        require(record.name.size() <= kLongestName && record.target.size() <= kLongestName,
                "the length of a name is limited");
        require(record.texts.size() < answer.size(), "texts are a part of the answer");
    }
}

void check_description(const std::string& answer) {
    Bridge bridge;
    if (BridgeTexts::readConfig(answer, bridge)) {
        require(!bridge.id.empty(), "a configuration has an ID");
    }
    BridgeTexts::readDescription(answer, bridge);
    require_texts(bridge);
}

void check_candidates(const std::vector<Bridge>& candidates) {
    require(candidates.size() <= BridgeAnnouncements::kMostCandidates, "few devices are asked");
    std::set<std::string> addresses;
    for (const Bridge& bridge : candidates) {
        in_addr address{};
        require(inet_pton(AF_INET, bridge.address.c_str(), &address) == 1 &&
                    !IN_MULTICAST(ntohl(address.s_addr)) && bridge.address.substr(0, 4) != "127.",
                "a device has an address of its own");
        require(addresses.insert(bridge.address).second, "every device is asked once");
        require(bridge.isFoundByMdns || bridge.isFoundBySsdp, "a device has announced itself");
        require_texts(bridge);
    }
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    BridgeAnnouncements announcements;
    std::uint32_t turn = 0;
    for (const std::string& answer : parts_of(input)) {
        const in_addr sender{htonl(0x0a000002 + turn++ % 3)};
        announcements.addMdns(answer, sender);
        announcements.addSsdp(answer, sender);
        check_records(answer);
        check_description(answer);
    }
    const std::vector<Bridge> candidates = announcements.candidates();
    check_candidates(candidates);
    require(BridgeAnnouncements::mergedById(candidates).size() <= candidates.size(),
            "merging adds nothing");
}
