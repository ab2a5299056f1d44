/// Finds the bridges of the local network and keeps the user names that were registered on them.
///
/// Calls block for seconds and keep their processor busy: give them a thread of their own. No lock:
/// one thread uses a finder.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "huelib/Hue.h"
#include "huelib/IHttpHandler.h"

class HueFinder {
  public:
    /// A bridge as it was found.
    struct HueIdentification {
        std::string ip;   ///< address of the bridge as it announces it
        std::string mac;  ///< serial number of the bridge
    };

    /// The handler is shared with every bridge that is made, and must not be null. Sends nothing.
    explicit HueFinder(std::shared_ptr<const IHttpHandler> handler);

    /// Searches for UPnP::kListenPeriod and reads the description of every device that calls itself
    /// a bridge. A device whose description is no bridge's is skipped: that of another
    /// manufacturer, which includes the bridges sold since the maker changed its name, and that
    /// without a serial number. Exceptions of the transport propagate and end the whole search.
    std::vector<HueIdentification> FindBridges() const;
    /// The bridge, ready for requests. Pairs with it when no user name is known for its serial
    /// number, as Hue::requestUsername does, and keeps the name. Throws std::runtime_error, "Failed
    /// to request username!", when nobody presses the link button; exceptions of the transport
    /// propagate.
    Hue GetBridge(const HueIdentification& identification);

    /// Registers `username` for the bridge with the serial number `mac`, in place of an earlier
    /// one.
    void AddUsername(const std::string& mac, const std::string& username);
    /// User names by serial number. The reference lives as long as the finder, and shows what
    /// AddUsername and GetBridge add later.
    const std::map<std::string, std::string>& GetAllUsernames() const { return usernames; }

  private:
    std::map<std::string, std::string> usernames;
    std::shared_ptr<const IHttpHandler> http_handler;
};
