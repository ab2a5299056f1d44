/// Conversions between the bridge's units and those of the light interface. Pure functions; every
/// argument gives a defined result, also one that no bridge should send.
#pragma once

#include <cstdint>

#include "huelib/HSVColor.h"
#include "huelib/RGB.h"

namespace ColorConversion {

/// The colour that a light is set to for a wish in RGB. The value is the saturation, not the
/// brightest channel, so a pale wish gives a dim light; grey and white give {0, 0, 0}, which means
/// off; a red that leans to blue has the hue of pure red. All channels are 0..255.
HSVColor hsvOfRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b);

/// 257 times `hue`: the byte's circle on the bridge's 0..65535.
std::uint16_t bridgeHueOf(std::uint8_t hue);

/// From the bridge's hue (0..65535), saturation and brightness (0..254), each kept to 8 bits.
HSVColor hsvOfBridge(unsigned int hue, unsigned int sat, unsigned int bri);

/// The same as RGB. A hue of 65444 and above rounds to 360 degrees, which lies in no sector and
/// gives grey.
RGB rgbOfBridge(unsigned int hue, unsigned int sat, unsigned int bri);

/// Kelvin to mired and mired to kelvin, which are one formula, 1000000 / `value` truncated; 0 gives
/// 0.
unsigned int reciprocalTemperature(unsigned int value);

}  // namespace ColorConversion
