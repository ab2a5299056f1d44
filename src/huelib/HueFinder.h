/// Finds the bridges of the local network and stores the user names that were registered on them.
///
/// Calls block for seconds and use a full CPU core: call from a separate thread. There is no lock:
/// use a finder from one thread.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "huelib/Hue.h"
#include "huelib/IHttpHandler.h"

class HueFinder {
  public:
    /// A bridge that was found.
    struct HueIdentification {
        std::string ip;   ///< address that the bridge announces
        std::string mac;  ///< serial number of the bridge
    };

    /// The handler is shared with every bridge returned, and must not be null. Sends no request.
    explicit HueFinder(std::shared_ptr<const IHttpHandler> handler);

    /// Searches for UPnP::kListenPeriod and reads the description of every device that announces
    /// itself as a bridge. Skips a device without a serial number, and one of another manufacturer,
    /// which includes bridges sold since the manufacturer changed its name: BridgeSearch finds
    /// them. Exceptions of the transport propagate and end the whole search.
    std::vector<HueIdentification> FindBridges() const;
    /// Returns the bridge, ready for requests. Without a stored user name for its serial number,
    /// pairs as Hue::requestUsername(bridgeIp) does, with its lines on standard output, and stores
    /// the name. Throws std::runtime_error, "Failed to request username!", if the link button is
    /// not pressed in time; exceptions of the transport propagate.
    Hue GetBridge(const HueIdentification& identification);

    /// Stores `username` for the bridge with the serial number `mac`; replaces an earlier one.
    void AddUsername(const std::string& mac, const std::string& username);
    /// User names by serial number. The reference is valid as long as the finder, and includes
    /// names that are added later.
    const std::map<std::string, std::string>& GetAllUsernames() const { return usernames; }

  private:
    std::map<std::string, std::string> usernames;
    std::shared_ptr<const IHttpHandler> http_handler;
};
