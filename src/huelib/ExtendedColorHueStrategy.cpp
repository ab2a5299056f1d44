#include "huelib/ExtendedColorHueStrategy.h"

#include "huelib/AlertSequence.h"
#include "huelib/HueLight.h"

bool ExtendedColorHueStrategy::alertHueSaturation(std::uint16_t hue, std::uint8_t sat,
                                                  HueLight& light) const {
    return runAlert(light, {"hs", "xy", "ct"},
                    [&] { return light.setColorHueSaturation(hue, sat, kAlertTransition); });
}

bool ExtendedColorHueStrategy::alertXY(XYColor xy, HueLight& light) const {
    return runAlert(light, {"hs", "xy", "ct"},
                    [&] { return light.setColorXY(xy, kAlertTransition); });
}

bool ExtendedColorHueStrategy::alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                                        HueLight& light) const {
    return runAlert(light, {"hs", "xy", "ct"},
                    [&] { return light.setColorRGB(r, g, b, kAlertTransition); });
}
