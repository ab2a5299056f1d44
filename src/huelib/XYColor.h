/// A colour in the CIE xy plane, as the bridge's "xy" and "bri".
#pragma once

struct XYColor {
    float x = 0;                  ///< 0..1; read from a light: unchecked
    float y = 0;                  ///< the same
    unsigned int brightness = 0;  ///< as the bridge reports it; never sent
};
