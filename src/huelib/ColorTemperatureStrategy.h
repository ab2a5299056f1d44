/// How a class of lights is set to white tones. Stateless: one instance serves all lights, from any
/// thread. Exceptions of the transport propagate out of every operation on a mutable light.
#pragma once

#include <cstdint>

class HueLight;

class ColorTemperatureStrategy {
  public:
    /// `mired` 153..500, clamped; `transition` in steps of 100 ms, 4 is the bridge's default. False
    /// when the bridge did not confirm everything.
    virtual bool setColorTemperature(unsigned int mired, std::uint8_t transition,
                                     HueLight& light) const = 0;
    /// Shows `mired` (153..500, clamped), blinks once and goes back. Blocks for 1.72 s and up to
    /// seven requests. False when the light shows something that its class cannot come back to, or
    /// when a step is not confirmed: it then stays as that step left it. Going back to the
    /// temperature of a light that was off is not looked at.
    virtual bool alertTemperature(unsigned int mired, HueLight& light) const = 0;
    /// In mired, after a refresh, as the bridge gives it, not clamped; 0 when it gives none.
    virtual unsigned int getColorTemperature(HueLight& light) const = 0;
    /// The same from what is cached.
    virtual unsigned int getColorTemperature(const HueLight& light) const = 0;

    virtual ~ColorTemperatureStrategy() = default;
};
