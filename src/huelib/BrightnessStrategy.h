/// Controls the brightness of a class of lights. Stateless: one instance serves all lights, from
/// any thread. Exceptions of the transport propagate out of every operation on a mutable light.
///
/// The light calls its strategy and passes itself; the strategy calls back to refresh the light and
/// to send to it.
#pragma once

#include <cstdint>

class HueLight;

class BrightnessStrategy {
  public:
    /// `bri` 0..254, a larger value counts as 254, 0 switches off; `transition` in steps of 100 ms,
    /// 4 is the bridge's default. False if the bridge did not confirm everything; switching off is
    /// not checked.
    virtual bool setBrightness(unsigned int bri, std::uint8_t transition,
                               HueLight& light) const = 0;
    /// Refreshes the light and returns its brightness as the bridge reports it: normally 0..254,
    /// not clamped; 0 if it reports none.
    virtual unsigned int getBrightness(HueLight& light) const = 0;
    /// The same from the cached description.
    virtual unsigned int getBrightness(const HueLight& light) const = 0;

    virtual ~BrightnessStrategy() = default;
};
