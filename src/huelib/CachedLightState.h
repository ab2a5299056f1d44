/// Reads the "state" object of a light's cached description. A member that is missing or of another
/// type reads as false, 0 or empty; the ranges are those of a sane bridge, and nothing is clamped
/// to them. Looks the members up at each call, so it stays good across refreshes; the light must
/// outlive it.
#pragma once

#include <string>

#include <json/value.h>

class HueLight;

class CachedLightState final {
  public:
    explicit CachedLightState(const HueLight& observed) : light(observed) {}

    bool isOn() const;
    unsigned int brightness() const;   ///< "bri", 0..254
    unsigned int temperature() const;  ///< "ct", in mired
    unsigned int hue() const;          ///< 0..65535
    unsigned int saturation() const;   ///< "sat", 0..254
    float x() const;                   ///< first element of "xy"
    float y() const;                   ///< second element of "xy"
    std::string colorMode() const;     ///< "hs", "xy" or "ct"
    std::string effect() const;        ///< "none" or "colorloop"

  private:
    const Json::Value& member(const char* name) const;

    const HueLight& light;
};
