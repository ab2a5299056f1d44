#include "huelib/SimpleColorHueStrategy.h"

#include "huelib/AlertSequence.h"
#include "huelib/CachedLightState.h"
#include "huelib/ColorConversion.h"
#include "huelib/HueLight.h"
#include "huelib/LightStateChange.h"

namespace {

constexpr std::uint16_t kHueCircle = 65535;  // the same colour as hue 0
constexpr std::uint8_t kMaxSaturation = 254;

void setHue(LightStateChange& change, std::uint16_t hue) {
    change.set("hue", hue % kHueCircle);
}

void setSaturation(LightStateChange& change, std::uint8_t sat) {
    change.set("sat", sat < kMaxSaturation ? sat : kMaxSaturation);
}

}  // namespace

bool SimpleColorHueStrategy::setColorHue(std::uint16_t hue, std::uint8_t transition,
                                         HueLight& light) const {
    LightStateChange change(light, transition);
    if (hue != change.current().hue() || change.current().colorMode() != "hs") {
        setHue(change, hue);
    }
    return change.send();
}

bool SimpleColorHueStrategy::setColorSaturation(std::uint8_t sat, std::uint8_t transition,
                                                HueLight& light) const {
    LightStateChange change(light, transition);
    if (sat != change.current().saturation()) {
        setSaturation(change, sat);
    }
    return change.send();
}

bool SimpleColorHueStrategy::setColorHueSaturation(std::uint16_t hue, std::uint8_t sat,
                                                   std::uint8_t transition, HueLight& light) const {
    LightStateChange change(light, transition);
    const bool showsOtherMode = change.current().colorMode() != "hs";
    if (hue != change.current().hue() || showsOtherMode) {
        setHue(change, hue);
    }
    if (sat != change.current().saturation() || showsOtherMode) {
        setSaturation(change, sat);
    }
    return change.send();
}

bool SimpleColorHueStrategy::setColorXY(XYColor xy, std::uint8_t transition,
                                        HueLight& light) const {
    LightStateChange change(light, transition);
    if (xy.x != change.current().x() || xy.y != change.current().y() ||
        change.current().colorMode() != "xy") {
        Json::Value coordinates(Json::arrayValue);
        coordinates.append(static_cast<double>(xy.x));
        coordinates.append(static_cast<double>(xy.y));
        change.set("xy", coordinates);
    }
    return change.send();
}

bool SimpleColorHueStrategy::setColorRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                                         std::uint8_t transition, HueLight& light) const {
    if (r == 0 && g == 0 && b == 0) {
        return light.OffNoRefresh(HueLight::kDefaultTransition);
    }
    return setColorHSV(ColorConversion::hsvOfRGB(r, g, b), transition, light);
}

bool SimpleColorHueStrategy::setColorHSV(HSVColor hsv, std::uint8_t transition,
                                         HueLight& light) const {
    if (hsv.hue == 0 && hsv.saturation == 0 && hsv.value == 0) {
        return light.OffNoRefresh(HueLight::kDefaultTransition);
    }
    Json::Value request = HueLight::emptyStateRequest(transition);
    if (!CachedLightState(light.getState()).isOn()) {
        request["on"] = true;
    }
    request["hue"] = ColorConversion::bridgeHueOf(hsv.hue);
    request["sat"] = hsv.saturation;
    request["bri"] = hsv.value;
    light.SendPutRequest(request, "/state");
    return true;
}

bool SimpleColorHueStrategy::setColorLoop(bool on, HueLight& light) const {
    LightStateChange change(light, HueLight::kDefaultTransition);
    const char* wanted = on ? "colorloop" : "none";
    if (change.current().effect() != wanted) {
        change.set("effect", wanted);
    }
    return change.send();
}

bool SimpleColorHueStrategy::alertHueSaturation(std::uint16_t hue, std::uint8_t sat,
                                                HueLight& light) const {
    return runAlert(light, {"hs", "xy"},
                    [&] { return light.setColorHueSaturation(hue, sat, kAlertTransition); });
}

bool SimpleColorHueStrategy::alertXY(XYColor xy, HueLight& light) const {
    return runAlert(light, {"hs", "xy"}, [&] { return light.setColorXY(xy, kAlertTransition); });
}

bool SimpleColorHueStrategy::alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                                      HueLight& light) const {
    return runAlert(light, {"hs", "xy"},
                    [&] { return light.setColorRGB(r, g, b, kAlertTransition); });
}

std::pair<std::uint16_t, std::uint8_t> SimpleColorHueStrategy::getColorHueSaturation(
    HueLight& light) const {
    light.refreshState();
    return getColorHueSaturation(static_cast<const HueLight&>(light));
}

std::pair<std::uint16_t, std::uint8_t> SimpleColorHueStrategy::getColorHueSaturation(
    const HueLight& light) const {
    const CachedLightState cached(light.getState());
    return {static_cast<std::uint16_t>(cached.hue()),
            static_cast<std::uint8_t>(cached.saturation())};
}

XYColor SimpleColorHueStrategy::getColorXY(HueLight& light) const {
    light.refreshState();
    return getColorXY(static_cast<const HueLight&>(light));
}

XYColor SimpleColorHueStrategy::getColorXY(const HueLight& light) const {
    const CachedLightState cached(light.getState());
    return {cached.x(), cached.y(), cached.brightness()};
}

RGB SimpleColorHueStrategy::getColorRGB(const HueLight& light) const {
    const CachedLightState cached(light.getState());
    return ColorConversion::rgbOfBridge(cached.hue(), cached.saturation(), cached.brightness());
}

HSVColor SimpleColorHueStrategy::getColorHSV(const HueLight& light) const {
    const CachedLightState cached(light.getState());
    return ColorConversion::hsvOfBridge(cached.hue(), cached.saturation(), cached.brightness());
}
