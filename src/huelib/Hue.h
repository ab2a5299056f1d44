/// One bridge as one of its users sees it: the lights, each controlled as its model requires.
///
/// There is no lock: the caller guards the object and every light that it returns. A light stays at
/// its address until it is removed, so a reference to it stays valid. Exceptions of the transport
/// propagate out of every operation that sends a request; HueCommandAPI says how long a request may
/// block. A copy has its own lights, and shares the pacing until one of the two is paired.
///
/// Lights are stored under the low 8 bits of their id: 259 and 3 are one entry.
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
    /// empty before pairing. The handler is shared with every light, and must not be null. Sends no
    /// request.
    Hue(const std::string& bridgeIp, const std::string& user,
        std::shared_ptr<const IHttpHandler> handler);

    /// As given to the constructor, or after a pairing: the address given to requestUsername and
    /// the name that the bridge gave. setIP changes the address.
    std::string getBridgeIP() const { return ip; }
    std::string getUsername() const { return username; }
    /// Changes only what getBridgeIP returns. Requests still go to the address of the
    /// constructor or of the pairing: create a new Hue for a bridge whose address has changed.
    void setIP(const std::string& bridgeIp) { ip = bridgeIp; }

    /// The sender of this bridge's requests, replaced by requestUsername. A copy shares its pacing.
    const HueCommandAPI& getCommandAPI() const { return commands; }

    /// How long requestUsername waits for the link button.
    static constexpr std::chrono::seconds kPairingPeriod{35};
    /// Receives what requestUsername reports: one line a call, without its line feed. The last line
    /// holds the user name as the bridge sent it: escape it for a terminal or a log.
    using PairingReport = std::function<void(const std::string& line)>;
    /// Registers a user on the bridge at `bridgeIp`, whose link button must be pressed meanwhile:
    /// sends a request each second for kPairingPeriod and calls `report` with the progress, on the
    /// same thread. Uses a full CPU core. Returns the new user name; this object then sends as that
    /// user to that address. Returns an empty text, and changes nothing, if the bridge gave no name
    /// in time. Lights returned earlier keep their user and pacing. The requests bypass the pacing.
    /// Exceptions of the transport and of `report`, which must not be empty, end the pairing; after
    /// a success getUsername then has the name.
    std::string requestUsername(const std::string& bridgeIp, const PairingReport& report);
    /// The same with the lines on standard output.
    std::string requestUsername(const std::string& bridgeIp);

    /// Whether getLight creates a light whose model is unknown, controlled as its type allows
    /// (LightCatalogue::classOfType). False at first. Each such light is logged. Lights that exist
    /// already do not change.
    void driveUnknownModelsByType(bool isAllowed) { areUnknownModelsDriven = isAllowed; }

    /// Reads the complete state of the bridge; does nothing without a user name. If the answer
    /// lists no lights, logs an error and keeps the old state.
    void refreshState();

    /// Returns the light, refreshed (one request). On first use creates it (two requests); this
    /// object owns it. Throws std::runtime_error if the bridge does not list the light ("Error in
    /// Hue getLight(): light id is not valid") or its model is unknown ("HueLight type LST999 not
    /// supported") and driveUnknownModelsByType does not help; nothing is added then.
    HueLight& getLight(int id);
    /// Returns the light without a request. Throws std::runtime_error, "Error in Hue peekLight():
    /// light id is not valid", if getLight has not created it.
    HueLight& peekLight(int id);
    const HueLight& peekLight(int id) const;
    /// Whether getLight has created the light or the bridge lists it. The const form uses the last
    /// refresh; the other one refreshes first.
    bool lightExists(int id);
    bool lightExists(int id) const;
    /// Removes the light from the bridge. If the bridge confirms, removes it here too, which
    /// invalidates every reference to it, and returns true; otherwise returns false.
    bool removeLight(int id);
    /// Updates all lights that getLight has created, with one request; does nothing without a user
    /// name. Lights that are missing in the answer keep their state. If the answer is not a list,
    /// logs an error.
    void refreshLights();
    /// All lights, in ascending order of their ids; creates the missing ones. Costs one request,
    /// and those of getLight for each light. Throws as getLight does, and as std::stoi for an id
    /// that is not a number or beyond int.
    std::vector<std::reference_wrapper<HueLight>> getAllLights();

    /// Name of a picture of such a light; empty if there is no picture, or getLight has not created
    /// the light. Sends no request.
    std::string getPictureOfLight(int id) const;
    std::string getPictureOfModel(const std::string& modelId) const;

  private:
    HueLight& makeLight(int id, const LightList::Entry& listed);

    std::string ip;
    std::string username;
    LightList state;  // from the last answer that listed lights
    std::map<unsigned char, HueLight> lights;
    std::shared_ptr<SimpleBrightnessStrategy> simpleBrightnessStrategy;
    std::shared_ptr<SimpleColorHueStrategy> simpleColorHueStrategy;
    std::shared_ptr<ExtendedColorHueStrategy> extendedColorHueStrategy;
    std::shared_ptr<SimpleColorTemperatureStrategy> simpleColorTemperatureStrategy;
    std::shared_ptr<ExtendedColorTemperatureStrategy> extendedColorTemperatureStrategy;
    std::shared_ptr<const IHttpHandler> http_handler;
    HueCommandAPI commands;
    bool areUnknownModelsDriven = false;  // by their type
};
