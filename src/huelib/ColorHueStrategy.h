/// How a class of lights shows colours. Stateless: one instance serves all lights, from any thread.
///
/// Hue is 0..65535, saturation 0..254; `transition` counts steps of 100 ms, 4 is the bridge's
/// default. Set operations answer false when the bridge did not confirm everything. Those of which
/// nothing else is said refresh the light first, send only what differs or is not shown in the
/// light's mode, and "on" for a light that is off; when nothing is to be sent they answer true.
/// Exceptions of the transport propagate out of every operation on a mutable light.
#pragma once

#include <cstdint>
#include <utility>

#include "huelib/HSVColor.h"
#include "huelib/RGB.h"
#include "huelib/XYColor.h"

class HueLight;

class ColorHueStrategy {
  public:
    /// Set one of the two, or both. A saturation above 254 is sent as 254.
    virtual bool setColorHue(std::uint16_t hue, std::uint8_t transition, HueLight& light) const = 0;
    virtual bool setColorSaturation(std::uint8_t sat, std::uint8_t transition,
                                    HueLight& light) const = 0;
    virtual bool setColorHueSaturation(std::uint16_t hue, std::uint8_t sat, std::uint8_t transition,
                                       HueLight& light) const = 0;
    /// Coordinates 0..1, sent as they are. The brightness of `xy` is not sent.
    virtual bool setColorXY(XYColor xy, std::uint8_t transition, HueLight& light) const = 0;
    /// Sent without regard to the answer: true, whatever the bridge says. Black, grey and white
    /// switch off, in the bridge's default transition.
    virtual bool setColorRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                             std::uint8_t transition, HueLight& light) const = 0;
    /// Sent without regard to the answer: true, whatever the bridge says. {0, 0, 0} switches off,
    /// in the bridge's default transition. A saturation or value of 255 is sent as it is.
    virtual bool setColorHSV(HSVColor hsv, std::uint8_t transition, HueLight& light) const = 0;
    /// Starts or stops a walk through all colours. Switches on a light that is off, in both cases.
    virtual bool setColorLoop(bool on, HueLight& light) const = 0;

    /// The alerts show a colour, blink once and go back to the colour and the on/off state before.
    /// Each blocks for 1.72 s and up to seven requests. False when the light shows something that
    /// its class cannot come back to, or when a step is not confirmed: it then stays as that step
    /// left it. Not looked at: the colour of alertRGB, and going back to that of a light that was
    /// off.
    virtual bool alertHueSaturation(std::uint16_t hue, std::uint8_t sat, HueLight& light) const = 0;
    virtual bool alertXY(XYColor xy, HueLight& light) const = 0;
    virtual bool alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                          HueLight& light) const = 0;

    /// As the bridge gives them, cut to their low 16 and 8 bits; 0 for what it does not give. The
    /// getters of a mutable light refresh it from the bridge first, those of a const one read what
    /// is cached.
    virtual std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation(HueLight& light) const = 0;
    virtual std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation(
        const HueLight& light) const = 0;
    /// As the bridge gives them, with the brightness; 0 for what it does not give. A coordinate
    /// need not lie in 0..1.
    virtual XYColor getColorXY(HueLight& light) const = 0;
    virtual XYColor getColorXY(const HueLight& light) const = 0;
    /// From hue, saturation and brightness as cached, by ColorConversion; of a light that is off
    /// too.
    virtual RGB getColorRGB(const HueLight& light) const = 0;
    virtual HSVColor getColorHSV(const HueLight& light) const = 0;

    virtual ~ColorHueStrategy() = default;
};
