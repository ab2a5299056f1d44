/// Controls the colour temperature of a class of lights. Stateless: one instance serves all lights,
/// from any thread. Exceptions of the transport propagate out of every operation on a mutable
/// light.
#pragma once

#include <cstdint>

class HueLight;

class ColorTemperatureStrategy {
  public:
    /// `mired` 153..500, clamped; `transition` in steps of 100 ms, 4 is the bridge's default. False
    /// if the bridge did not confirm everything.
    virtual bool setColorTemperature(unsigned int mired, std::uint8_t transition,
                                     HueLight& light) const = 0;
    /// Shows `mired` (153..500, clamped), blinks once and restores what the light showed. Blocks
    /// for 1.72 s and up to seven requests. False if the light shows something that its class
    /// cannot restore, or if a step is not confirmed; the light then stays as that step left it.
    /// Restoring the temperature of a light that was off is not checked.
    virtual bool alertTemperature(unsigned int mired, HueLight& light) const = 0;
    /// Refreshes the light and returns its temperature in mired as the bridge reports it, not
    /// clamped; 0 if it reports none.
    virtual unsigned int getColorTemperature(HueLight& light) const = 0;
    /// The same from the cached description.
    virtual unsigned int getColorTemperature(const HueLight& light) const = 0;

    virtual ~ColorTemperatureStrategy() = default;
};
