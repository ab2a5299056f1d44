/// Conversions between the bridge's units and those of the light interface. Pure functions; the
/// result is defined for every argument, also for one that no bridge should send.
#pragma once

#include <cstdint>

#include "huelib/HSVColor.h"
#include "huelib/RGB.h"

namespace ColorConversion {

/// The colour that is sent to a light for a requested RGB colour. The value is the saturation, not
/// the brightest channel, so a pale colour gives a dim light; grey and white give {0, 0, 0}, which
/// means off; a red with more blue than green has the hue of pure red. All channels are 0..255.
HSVColor hsvOfRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b);

/// 257 times `hue`: from 0..255 to the bridge's 0..65535.
std::uint16_t bridgeHueOf(std::uint8_t hue);

/// From the bridge's hue (0..65535), saturation and brightness (0..254); each result is cut to its
/// low 8 bits.
HSVColor hsvOfBridge(unsigned int hue, unsigned int sat, unsigned int bri);

/// The same as RGB. A hue of 65444 or more rounds to 360 degrees, which is in no sector and gives
/// grey.
RGB rgbOfBridge(unsigned int hue, unsigned int sat, unsigned int bri);

/// Kelvin to mired or mired to kelvin: 1000000 / `value`, truncated; 0 gives 0.
unsigned int reciprocalTemperature(unsigned int value);

}  // namespace ColorConversion
