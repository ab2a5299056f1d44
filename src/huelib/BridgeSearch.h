/// Search for Hue bridges of any make on the local network, by SSDP and by mDNS at once.
///
/// Finds newer bridges too, which HueFinder does not know. Needs no user name. One thread uses a
/// search.
#pragma once

#include <chrono>
#include <string>
#include <vector>

class BridgeSearch {
  public:
    /// A device that announced itself as a bridge. Texts come from the network: escape them for a
    /// terminal or a log. A text is empty where neither the announcement nor the device gives it.
    struct Bridge {
        std::string address;   ///< dotted IPv4
        std::string id;        ///< 16 hexadecimal digits in capitals, "001788FFFE0AE670"
        std::string name;      ///< as its owner calls it
        std::string model;     ///< "BSB002"
        std::string software;  ///< version, "1967054020"
        std::string api;       ///< version, "1.67.0"
        bool isFoundBySsdp = false;
        bool isFoundByMdns = false;
        bool isDescribed = false;  ///< it answered a request for its configuration or description
    };

    /// Searches and asks each address that answers for its configuration. Returns one entry for a
    /// bridge ID, in the order of the addresses. Blocks for at most kLimit, without using the
    /// processor meanwhile. Throws std::system_error if no search can be sent on any interface.
    std::vector<Bridge> find() const;

    /// The longest time that find() takes.
    static constexpr std::chrono::seconds kLimit{6};
};
