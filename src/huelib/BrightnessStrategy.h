/// How a class of lights is dimmed. Stateless: one instance serves all lights, from any thread.
/// Exceptions of the transport propagate out of every operation on a mutable light.
#pragma once

#include <cstdint>

class HueLight;

class BrightnessStrategy {
  public:
    /// `bri` 0..254, more counts as 254, 0 switches off; `transition` in steps of 100 ms, 4 is the
    /// bridge's default. False when the bridge did not confirm everything; switching off is not
    /// checked.
    virtual bool setBrightness(unsigned int bri, std::uint8_t transition,
                               HueLight& light) const = 0;
    /// After a refresh, as the bridge gives it: 0..254 by its own rules, not clamped; 0 when it
    /// gives none.
    virtual unsigned int getBrightness(HueLight& light) const = 0;
    /// The same from what is cached.
    virtual unsigned int getBrightness(const HueLight& light) const = 0;

    virtual ~BrightnessStrategy() = default;
};
