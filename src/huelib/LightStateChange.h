/// What all checked set operations share: refresh the light, compare, send only what would change
/// something, and check that the bridge confirms each member.
#pragma once

#include <cstdint>
#include <vector>

#include <json/value.h>

#include "huelib/CachedLightState.h"

class HueLight;

class LightStateChange final {
  public:
    /// Refreshes `changed` (one request), which must outlive this object and not be refreshed
    /// or updated elsewhere meanwhile. Adds "on" for a light that is off.
    LightStateChange(HueLight& changed, std::uint8_t transition);

    /// The refreshed state, to compare with.
    const CachedLightState& current() const { return cached; }
    /// Adds a member to the request. Members are checked in the order in which they are added; how
    /// one is compared follows from its type: bool, unsigned number, text, or an array of two
    /// reals.
    void set(const char* name, const Json::Value& value);
    /// Sends what was set. True without a request when nothing was set; a transition time alone is
    /// not sent. False when the bridge does not confirm every member.
    bool send();

  private:
    HueLight& light;
    CachedLightState cached;
    Json::Value request;
    std::vector<const char*> checkOrder;
    bool changesSomething = false;
};
