/// The devices that announce themselves as bridges in the answers to a search. One thread uses an
/// object.
///
/// Every answer may be hostile. An object keeps at most about 6 MB, whatever arrives. Of each
/// sender the first 64 answers and 16 addresses count, and none takes the place of one of the first
/// kMostCandidates senders.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <netinet/in.h>

#include "huelib/BridgeSearch.h"

class BridgeAnnouncements {
  public:
    /// The largest answer that is read; larger than any that RFC 6762 permits.
    static constexpr std::size_t kAnswerBytes = 9000;
    static constexpr std::size_t kMostSenders = 256;
    static constexpr std::size_t kMostCandidates = 64;

    /// `ownAddresses`: of this machine, beyond those of the loopback. Only senders of this machine
    /// may announce them.
    explicit BridgeAnnouncements(std::vector<in_addr> ownAddresses = {})
        : own(std::move(ownAddresses)) {}

    /// An answer to a search by SSDP, in one datagram.
    void addSsdp(std::string_view answer, in_addr sender);
    /// An answer to a search by mDNS. What belongs together may arrive in several answers of one
    /// sender, in any order.
    void addMdns(std::string_view answer, in_addr sender);

    /// The devices to ask, each address once, at most kMostCandidates: first one of each sender, in
    /// order of arrival, then a second one, and so on. A device has the ID and the model that it
    /// announces itself, not those that another sender announces for its address.
    std::vector<BridgeSearch::Bridge> candidates() const;

    /// One entry for an ID, in the order of the addresses. Of several devices with one ID, those
    /// that answered a request count, since others may only claim the ID; the entry is of the
    /// lowest of their addresses and has the others too.
    static std::vector<BridgeSearch::Bridge> mergedById(
        std::vector<BridgeSearch::Bridge> candidates);

  private:
    struct Service {
        std::string name, host, id, model;
    };
    struct Host {
        std::string name;
        in_addr address;
    };
    struct Sender {
        in_addr address;
        std::size_t answers;
        std::vector<BridgeSearch::Bridge> bridges;  // by SSDP
        std::vector<Service> services;              // by mDNS
        std::vector<Host> hosts;
    };

    bool isOwn(in_addr address) const;
    bool isAllowed(in_addr address, in_addr sender) const;
    Sender* senderToRead(in_addr address);
    void addHost(Sender& sender, const std::string& name, in_addr address);
    static Service* serviceOf(Sender& sender, const std::string& name);
    static std::vector<BridgeSearch::Bridge> announcedBy(const Sender& sender);

    const std::vector<in_addr> own;
    std::vector<Sender> senders;
};
