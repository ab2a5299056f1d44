/// One bridge as one of its users sees it: the lights, each driven as its model asks for.
///
/// No lock of its own: the caller guards it, and with it every light that it hands out. A light
/// stays where it is until it is removed, so a reference to it stays good. Exceptions of the
/// transport propagate out of every operation that sends; HueCommandAPI says how long one may
/// block. A copy has lights of its own, and shares the pacing until one of the two is paired.
///
/// A light id is narrowed to its low 8 bits where lights are kept: 259 and 3 are one entry.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "huelib/ExtendedColorHueStrategy.h"
#include "huelib/ExtendedColorTemperatureStrategy.h"
#include "huelib/HueCommandAPI.h"
#include "huelib/HueLight.h"
#include "huelib/IHttpHandler.h"
#include "huelib/LightList.h"
#include "huelib/SimpleBrightnessStrategy.h"
#include "huelib/SimpleColorHueStrategy.h"
#include "huelib/SimpleColorTemperatureStrategy.h"

class Hue {
  public:
    /// `bridgeIp`: host name or dotted IPv4 address; `user`: the name registered on the bridge,
    /// empty before pairing. The handler is shared with every light, and must not be null. Sends
    /// nothing.
    Hue(const std::string& bridgeIp, const std::string& user,
        std::shared_ptr<const IHttpHandler> handler);

    /// As the constructor was given them, or requestUsername or setIP since.
    std::string getBridgeIP() const { return ip; }
    std::string getUsername() const { return username; }
    /// Changes what getBridgeIP tells. Requests keep going to the address of the constructor: make
    /// a new Hue for a bridge that has moved.
    void setIP(const std::string& bridgeIp) { ip = bridgeIp; }

    /// The sender of this bridge's requests, replaced by requestUsername. A copy shares its pacing.
    const HueCommandAPI& getCommandAPI() const { return commands; }

    /// How long requestUsername asks.
    static constexpr std::chrono::seconds kPairingPeriod{35};
    /// Receives what requestUsername reports: one line a call, without its line feed.
    using PairingReport = std::function<void(const std::string& line)>;
    /// Registers a user on the bridge at `bridgeIp` when its link button is pressed: asks once a
    /// second for kPairingPeriod, keeping its processor busy, and calls `report`, on the same
    /// thread, with the progress. Returns the new name, with which this object then sends to that
    /// address; empty, with nothing changed, when the bridge gave no name in time. Lights that were
    /// got before keep their user and pacing. The requests bypass the pacing of other requests.
    /// Exceptions of the transport and of `report`, which must not be empty, end it.
    std::string requestUsername(const std::string& bridgeIp, const PairingReport& report);
    /// The same with the lines on standard output.
    std::string requestUsername(const std::string& bridgeIp);

    /// Reads everything that the bridge knows; nothing without a user name. An answer that lists no
    /// lights is logged, and the old state stays.
    void refreshState();

    /// The light, refreshed (one request, two when it is made); made when it is asked for the first
    /// time, and owned by this object. Throws std::runtime_error when the bridge does not list it
    /// ("Error in Hue getLight(): light id is not valid") or its model is unknown ("HueLight type
    /// LST999 not supported"); nothing is added then.
    HueLight& getLight(int id);
    /// The light as it is, without a request. Throws std::runtime_error, "Error in Hue peekLight():
    /// light id is not valid", when nobody got it before.
    HueLight& peekLight(int id);
    const HueLight& peekLight(int id) const;
    /// Whether the light was got before or the bridge lists it; the const form goes by the last
    /// refresh.
    bool lightExists(int id);
    bool lightExists(int id) const;
    /// Removes the light from the bridge, and here when the bridge confirms, which ends every
    /// reference to it; false otherwise.
    bool removeLight(int id);
    /// Updates all lights that were got before, with one request; nothing without a user name.
    /// Lights that are missing in the answer stay as they are; of an answer that is no list the log
    /// is told.
    void refreshLights();
    /// All lights, in ascending order of their ids, the missing ones made, at the cost of a request
    /// and of getLight for each. Throws as getLight does, and as std::stoi for an id that is no
    /// number or beyond int.
    std::vector<std::reference_wrapper<HueLight>> getAllLights();

    /// Name of the picture that shows such a light; empty when there is none, and for a light that
    /// nobody got before.
    std::string getPictureOfLight(int id) const;
    std::string getPictureOfModel(const std::string& modelId) const;

  private:
    HueLight& makeLight(int id, const LightList::Entry& listed);

    std::string ip;
    std::string username;
    LightList state;  // what is read of the last answer that listed lights
    std::map<unsigned char, HueLight> lights;
    std::shared_ptr<SimpleBrightnessStrategy> simpleBrightnessStrategy;
    std::shared_ptr<SimpleColorHueStrategy> simpleColorHueStrategy;
    std::shared_ptr<ExtendedColorHueStrategy> extendedColorHueStrategy;
    std::shared_ptr<SimpleColorTemperatureStrategy> simpleColorTemperatureStrategy;
    std::shared_ptr<ExtendedColorTemperatureStrategy> extendedColorTemperatureStrategy;
    std::shared_ptr<const IHttpHandler> http_handler;
    HueCommandAPI commands;
};
