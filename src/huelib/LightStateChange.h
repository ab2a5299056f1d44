/// The frame of every checked set operation: refresh the light, compare, send only what would
/// change something, and see whether the bridge confirms each member.
#pragma once

#include <cstdint>
#include <vector>

#include <json/value.h>

#include "huelib/CachedLightState.h"

class HueLight;

class LightStateChange final {
  public:
    /// Refreshes `changed` (one request), which must outlive this. A light that is off will be
    /// switched on.
    LightStateChange(HueLight& changed, std::uint8_t transition);

    /// The state to compare with.
    const CachedLightState& current() const { return cached; }
    /// Adds a member to the request. Members are checked in the order in which they are added; how
    /// one is compared follows from its type: bool, unsigned number, text, or an array of two
    /// reals.
    void set(const char* name, const Json::Value& value);
    /// Sends what was set; true without a request when there is nothing to send (a transition time
    /// alone is nothing). False when the bridge does not confirm every member.
    bool send();

    /// An empty request for a light's "/state", or one with nothing but the transition time, which
    /// is left out when it is the bridge's default.
    static Json::Value emptyRequest(std::uint8_t transition);

  private:
    HueLight& light;
    CachedLightState cached;
    Json::Value request;
    std::vector<const char*> checkOrder;
    bool changesSomething = false;
};
