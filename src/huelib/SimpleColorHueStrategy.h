/// Controls the colour of a light without white tones.
#pragma once

#include "huelib/ColorHueStrategy.h"

class SimpleColorHueStrategy : public ColorHueStrategy {
  public:
    /// 65535 is sent as 0, the same position on the circle.
    bool setColorHue(std::uint16_t hue, std::uint8_t transition, HueLight& light) const override;
    /// 255 is sent as 254. Sent only if it differs, in every colour mode.
    bool setColorSaturation(std::uint8_t sat, std::uint8_t transition,
                            HueLight& light) const override;
    /// As in the base class.
    bool setColorHueSaturation(std::uint16_t hue, std::uint8_t sat, std::uint8_t transition,
                               HueLight& light) const override;
    bool setColorXY(XYColor xy, std::uint8_t transition, HueLight& light) const override;
    /// Converts to HSV and calls setColorHSV.
    bool setColorRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b, std::uint8_t transition,
                     HueLight& light) const override;
    /// As in the base class.
    bool setColorHSV(HSVColor hsv, std::uint8_t transition, HueLight& light) const override;
    bool setColorLoop(bool on, HueLight& light) const override;

    /// Work in the modes "hs" and "xy"; false in any other, with no request but the refresh.
    bool alertHueSaturation(std::uint16_t hue, std::uint8_t sat, HueLight& light) const override;
    bool alertXY(XYColor xy, HueLight& light) const override;
    bool alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b, HueLight& light) const override;
    /// As in the base class.
    std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation(HueLight& light) const override;
    std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation(
        const HueLight& light) const override;
    XYColor getColorXY(HueLight& light) const override;
    XYColor getColorXY(const HueLight& light) const override;
    RGB getColorRGB(const HueLight& light) const override;
    HSVColor getColorHSV(const HueLight& light) const override;
};
