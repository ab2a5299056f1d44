/// Reads the "state" object of a light's description. A member that is missing or of another type
/// reads as false, 0 or empty. Values are not clamped; the ranges below are those of a sane bridge.
///
/// A view: the description must outlive it, unchanged. That of a light lives until its next refresh
/// or update.
#pragma once

#include <string>

#include <json/value.h>

class CachedLightState final {
  public:
    /// `description`: HueLight::getState, or a copy of it.
    explicit CachedLightState(const Json::Value& description);
    /// A temporary would not outlive the view.
    explicit CachedLightState(const Json::Value&& description) = delete;

    bool isOn() const;                 ///< "on"
    unsigned int brightness() const;   ///< "bri", 0..254
    unsigned int temperature() const;  ///< "ct", in mired
    unsigned int hue() const;          ///< 0..65535
    unsigned int saturation() const;   ///< "sat", 0..254
    float x() const;                   ///< first element of "xy"
    float y() const;                   ///< second element of "xy"
    std::string colorMode() const;     ///< "hs", "xy" or "ct"
    std::string effect() const;        ///< "none" or "colorloop"

  private:
    const Json::Value& state;
};
