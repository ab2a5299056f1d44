/// A colour in the CIE xy plane, as the bridge's "xy" and "bri".
#pragma once

struct XYColor {
    float x = 0;                  ///< 0..1
    float y = 0;                  ///< 0..1
    unsigned int brightness = 0;  ///< 0..254 when read from a light; never sent with a colour
};
