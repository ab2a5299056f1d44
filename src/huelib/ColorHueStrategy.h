/// Controls the colour of a class of lights. Stateless: one instance serves all lights, from any
/// thread.
///
/// Hue is 0..65535, saturation 0..254; `transition` counts steps of 100 ms, 4 is the bridge's
/// default. Unless described otherwise, a set operation refreshes the light, sends only what
/// differs or is not shown in the light's mode, and "on" for a light that is off. It returns true
/// if there is nothing to send, and false if the bridge did not confirm everything. Exceptions of
/// the transport propagate out of every operation on a mutable light.
#pragma once

#include <cstdint>
#include <utility>

#include "huelib/HSVColor.h"
#include "huelib/RGB.h"
#include "huelib/XYColor.h"

class HueLight;

class ColorHueStrategy {
  public:
    /// Set the hue, the saturation, or both. A saturation above 254 is sent as 254.
    virtual bool setColorHue(std::uint16_t hue, std::uint8_t transition, HueLight& light) const = 0;
    virtual bool setColorSaturation(std::uint8_t sat, std::uint8_t transition,
                                    HueLight& light) const = 0;
    virtual bool setColorHueSaturation(std::uint16_t hue, std::uint8_t sat, std::uint8_t transition,
                                       HueLight& light) const = 0;
    /// Coordinates 0..1, sent unchanged. The brightness of `xy` is not sent.
    virtual bool setColorXY(XYColor xy, std::uint8_t transition, HueLight& light) const = 0;
    /// Does not check the answer: always true. Black, grey and white switch off, in the bridge's
    /// default transition.
    virtual bool setColorRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                             std::uint8_t transition, HueLight& light) const = 0;
    /// Does not check the answer: always true. {0, 0, 0} switches off, in the bridge's default
    /// transition. A saturation or value of 255 is sent unchanged.
    virtual bool setColorHSV(HSVColor hsv, std::uint8_t transition, HueLight& light) const = 0;
    /// Starts or stops a cycle through all colours. Both switch on a light that is off.
    virtual bool setColorLoop(bool on, HueLight& light) const = 0;

    /// The alerts show a colour, blink once and restore the earlier colour and on/off state. Each
    /// blocks for 1.72 s and up to seven requests. False if the light shows something that its
    /// class cannot restore, or if a step is not confirmed; the light then stays as that step left
    /// it. Not checked: the colour of alertRGB, and restoring the colour of a light that was off.
    virtual bool alertHueSaturation(std::uint16_t hue, std::uint8_t sat, HueLight& light) const = 0;
    virtual bool alertXY(XYColor xy, HueLight& light) const = 0;
    virtual bool alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                          HueLight& light) const = 0;

    /// As the bridge reports them, cut to their low 16 and 8 bits; 0 for what it does not report.
    /// The getters that take a mutable light refresh it first, those that take a const light read
    /// the cached description.
    virtual std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation(HueLight& light) const = 0;
    virtual std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation(
        const HueLight& light) const = 0;
    /// As the bridge reports them, with the brightness; 0 for what it does not report. A coordinate
    /// may be outside 0..1.
    virtual XYColor getColorXY(HueLight& light) const = 0;
    virtual XYColor getColorXY(const HueLight& light) const = 0;
    /// From the cached hue, saturation and brightness, by ColorConversion, also if the light is
    /// off.
    virtual RGB getColorRGB(const HueLight& light) const = 0;
    virtual HSVColor getColorHSV(const HueLight& light) const = 0;

    virtual ~ColorHueStrategy() = default;
};
