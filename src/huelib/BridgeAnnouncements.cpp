#include "huelib/BridgeAnnouncements.h"

#include <algorithm>
#include <optional>

#include <arpa/inet.h>
#include <strings.h>

#include "huelib/BridgeTexts.h"
#include "huelib/MdnsMessage.h"

namespace {

using Bridge = BridgeSearch::Bridge;

constexpr std::size_t kMostAnswersOfASender = 64;
constexpr std::size_t kMostOfASender = 16;  // addresses, and services by mDNS
constexpr std::string_view kInstanceEnd = "._hue._tcp.local";

// Null if there is no such element.
template <typename Elements>
auto* named(Elements& elements, const std::string& name) {
    const auto found = std::find_if(elements.begin(), elements.end(), [&](const auto& element) {
        return ::strcasecmp(element.name.c_str(), name.c_str()) == 0;
    });
    return found == elements.end() ? nullptr : &*found;
}

// True for "anything._hue._tcp.local".
bool isInstance(const std::string& name) {
    return name.size() > kInstanceEnd.size() &&
           ::strcasecmp(name.c_str() + name.size() - kInstanceEnd.size(), kInstanceEnd.data()) == 0;
}

// The value of a header line, without the blanks around it; the key in letters of either case.
std::optional<std::string_view> headerOf(std::string_view answer, std::string_view key) {
    constexpr std::string_view kBlanks = " \t\r";
    while (!answer.empty()) {
        const std::string_view line = answer.substr(0, answer.find('\n'));
        answer.remove_prefix(std::min(answer.size(), line.size() + 1));
        if (line.size() <= key.size() || line[key.size()] != ':' ||
            ::strncasecmp(line.data(), key.data(), key.size()) != 0) {
            continue;
        }
        const std::size_t start = line.find_first_not_of(kBlanks, key.size() + 1);
        return start == std::string_view::npos
                   ? std::string_view()
                   : line.substr(start, line.find_last_not_of(kBlanks) + 1 - start);
    }
    return std::nullopt;
}

// The host of "http://host:port/path", if it is an address in dotted form.
std::optional<in_addr> addressIn(std::string_view location) {
    const std::size_t slashes = location.find("//");
    if (slashes == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view host = location.substr(slashes + 2);
    in_addr address{};
    const std::string text(host.substr(0, host.find_first_of(":/")));
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1 ? std::optional(address)
                                                             : std::nullopt;
}

std::string dotted(in_addr address) {
    char text[INET_ADDRSTRLEN] = {};
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

// Adds a device, or what an announcement adds to a known one.
void merge(std::vector<Bridge>& bridges, const Bridge& bridge, std::size_t most) {
    const auto known = std::find_if(bridges.begin(), bridges.end(), [&](const Bridge& other) {
        return other.address == bridge.address;
    });
    if (known == bridges.end()) {
        if (bridges.size() < most) {
            bridges.push_back(bridge);
        }
        return;
    }
    known->isFoundBySsdp |= bridge.isFoundBySsdp;
    known->isFoundByMdns |= bridge.isFoundByMdns;
    known->id = known->id.empty() ? bridge.id : known->id;
    known->model = known->model.empty() ? bridge.model : known->model;
}

// Without texts if the sender announces the address of another device.
Bridge announced(in_addr address, in_addr sender, std::string_view id, std::string_view model) {
    Bridge bridge;
    bridge.address = dotted(address);
    if (address.s_addr == sender.s_addr) {
        bridge.id = BridgeTexts::bridgeId(id);
        bridge.model = BridgeTexts::shortText(std::string(model));
    }
    return bridge;
}

std::uint32_t numberOf(const Bridge& bridge) {
    return ntohl(::inet_addr(bridge.address.c_str()));
}

}  // namespace

bool BridgeAnnouncements::isOwn(in_addr address) const {
    return ntohl(address.s_addr) >> 24 == IN_LOOPBACKNET ||
           std::any_of(own.begin(), own.end(),
                       [&](in_addr other) { return other.s_addr == address.s_addr; });
}

// A device elsewhere must not direct requests to this machine's own services. It may name any other
// address: a proxy announces bridges of other networks.
bool BridgeAnnouncements::isAllowed(in_addr address, in_addr sender) const {
    const std::uint32_t number = ntohl(address.s_addr);
    return number >> 24 != 0 && !IN_MULTICAST(number) && !IN_BADCLASS(number) &&
           (!isOwn(address) || isOwn(sender));
}

// Null if no more answers of this sender count.
BridgeAnnouncements::Sender* BridgeAnnouncements::senderToRead(in_addr address) {
    auto known = std::find_if(senders.begin(), senders.end(), [&](const Sender& sender) {
        return sender.address.s_addr == address.s_addr;
    });
    if (known == senders.end()) {
        if (senders.size() == kMostSenders || !isAllowed(address, address)) {
            return nullptr;
        }
        known = senders.insert(known, {address, 0, {}, {}, {}});
    }
    return known->answers++ < kMostAnswersOfASender ? &*known : nullptr;
}

void BridgeAnnouncements::addSsdp(std::string_view answer, in_addr from) {
    const auto server = headerOf(answer, "SERVER");
    const auto id = headerOf(answer, "hue-bridgeid");
    const bool isBridge = id || (server && server->find("IpBridge") != std::string_view::npos);
    Sender* sender = isBridge && answer.size() <= kAnswerBytes ? senderToRead(from) : nullptr;
    if (sender == nullptr) {
        return;
    }
    const in_addr address = addressIn(headerOf(answer, "LOCATION").value_or("")).value_or(from);
    if (isAllowed(address, from)) {
        Bridge bridge = announced(address, from, id.value_or(""), "");
        bridge.isFoundBySsdp = true;
        merge(sender->bridges, bridge, kMostOfASender);
    }
}

BridgeAnnouncements::Service* BridgeAnnouncements::serviceOf(Sender& sender,
                                                             const std::string& name) {
    if (Service* const known = named(sender.services, name)) {
        return known;
    }
    if (!isInstance(name) || sender.services.size() == kMostOfASender) {
        return nullptr;
    }
    return &sender.services.emplace_back(Service{name, {}, {}, {}});
}

// Of several addresses of a name, the sender's own can be reached; others may be of another
// network.
void BridgeAnnouncements::addHost(Sender& sender, const std::string& name, in_addr address) {
    if (Host* const known = named(sender.hosts, name)) {
        known->address = address.s_addr == sender.address.s_addr ? address : known->address;
    } else if (sender.hosts.size() < kMostOfASender && isAllowed(address, sender.address)) {
        sender.hosts.push_back({name, address});
    }
}

void BridgeAnnouncements::addMdns(std::string_view answer, in_addr from) {
    using Type = MdnsMessage::Record::Type;
    Sender* sender = answer.size() <= kAnswerBytes ? senderToRead(from) : nullptr;
    if (sender == nullptr) {
        return;
    }
    for (const MdnsMessage::Record& record : MdnsMessage::read(answer)) {
        if (record.type == Type::address) {
            addHost(*sender, record.name, record.address);
            continue;
        }
        Service* service =
            serviceOf(*sender, record.type == Type::pointer ? record.target : record.name);
        if (service == nullptr) {
            continue;
        }
        if (record.type == Type::server) {
            service->host = record.target;
        } else if (record.type == Type::text) {
            const auto value = [&](const char* key) {
                return MdnsMessage::textValue(record.texts, key).value_or("");
            };
            service->id = BridgeTexts::bridgeId(value("bridgeid"));
            service->model = BridgeTexts::shortText(value("modelid"));
        }
    }
}

std::vector<Bridge> BridgeAnnouncements::announcedBy(const Sender& sender) {
    std::vector<Bridge> bridges = sender.bridges;
    for (const Service& service : sender.services) {
        const Host* const host = named(sender.hosts, service.host);
        const in_addr address = host != nullptr ? host->address : sender.address;
        Bridge bridge = announced(address, sender.address, service.id, service.model);
        bridge.isFoundByMdns = true;
        merge(bridges, bridge, kMostOfASender);
    }
    const std::string first = dotted(sender.address);
    std::stable_partition(bridges.begin(), bridges.end(),
                          [&](const Bridge& bridge) { return bridge.address == first; });
    return bridges;
}

std::vector<Bridge> BridgeAnnouncements::candidates() const {
    std::vector<std::vector<Bridge>> bySender;
    for (const Sender& sender : senders) {
        bySender.push_back(announcedBy(sender));
    }
    std::vector<Bridge> found;
    for (std::size_t turn = 0; turn < kMostOfASender; ++turn) {
        for (const std::vector<Bridge>& bridges : bySender) {
            if (turn < bridges.size()) {
                merge(found, bridges[turn], kMostCandidates);
            }
        }
    }
    return found;
}

std::vector<Bridge> BridgeAnnouncements::mergedById(std::vector<Bridge> candidates) {
    std::sort(candidates.begin(), candidates.end(), [](const Bridge& left, const Bridge& right) {
        return left.isDescribed != right.isDescribed ? left.isDescribed
                                                     : numberOf(left) < numberOf(right);
    });
    std::vector<Bridge> bridges;
    for (Bridge& candidate : candidates) {
        const auto known = std::find_if(bridges.begin(), bridges.end(), [&](const Bridge& bridge) {
            return !bridge.id.empty() && bridge.id == candidate.id;
        });
        if (known == bridges.end()) {
            bridges.push_back(std::move(candidate));
        } else if (candidate.isDescribed == known->isDescribed) {
            known->isFoundBySsdp |= candidate.isFoundBySsdp;
            known->isFoundByMdns |= candidate.isFoundByMdns;
            known->alsoAt.push_back(std::move(candidate.address));
        }
    }
    std::sort(bridges.begin(), bridges.end(), [](const Bridge& left, const Bridge& right) {
        return numberOf(left) < numberOf(right);
    });
    return bridges;
}
