/// Search for Hue bridges of any make on the local network, by SSDP and by mDNS at once.
///
/// Finds newer bridges too, which HueFinder does not know. Needs no user name. Any thread may call;
/// a search starts threads of its own and ends them.
#pragma once

#include <chrono>
#include <string>
#include <vector>

class BridgeSearch {
  public:
    /// A device that announced itself as a bridge. Texts come from the network: escape them for a
    /// terminal or a log. A text is empty where neither the announcement nor the device gives it.
    struct Bridge {
        std::string address;         ///< dotted IPv4
        std::string id;              ///< 16 hexadecimal digits in capitals, "001788FFFE0AE670"
        std::string name;            ///< as its owner calls it
        std::string model;           ///< "BSB002"
        std::string software;        ///< version, "1967054020"
        std::string api;             ///< version, "1.67.0"
        bool isFoundBySsdp = false;  ///< it answered the search by SSDP
        bool isFoundByMdns = false;  ///< it answered the search by mDNS; both are possible
        bool isDescribed = false;    ///< it answered a request for its configuration or description
        /// Other addresses that answered with the same ID: the bridge has several, or a device
        /// copies its ID.
        std::vector<std::string> alsoAt;
    };

    /// Searches from every IPv4 interface that does multicast, then asks the addresses that are
    /// announced for their configuration, or else for their description. Asks at most 64 addresses:
    /// first one of each of the first 64 senders, then a second one, up to 16 of each. A device may
    /// take 0.7 s to connect and 0.7 s to answer; twice that if at most 32 are asked.
    ///
    /// Returns one entry for a bridge ID, in the order of the addresses; of several addresses that
    /// answer with one ID, for the lowest. The texts of a described entry are those of the device,
    /// and its ID is empty only if an old description has no valid serial number. Other entries are
    /// devices that did not answer, with the ID and the model that they announced.
    ///
    /// Blocks for at most kLimit; waits without using the processor. Throws std::system_error if
    /// the interfaces cannot be listed, or if no search can be sent on any: ENODEV if none does
    /// multicast.
    std::vector<Bridge> find() const;

    /// The longest time that find() takes.
    static constexpr std::chrono::seconds kLimit{6};
};
