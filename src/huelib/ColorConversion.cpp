#include "huelib/ColorConversion.h"

#include <algorithm>
#include <cmath>

namespace ColorConversion {

namespace {

constexpr double kBridgeHueCircle = 65535;

// Rounds and keeps the low 8 bits. No value that a bridge can send comes near the limit of 64 bits.
std::uint8_t toByte(double value) {
    return static_cast<std::uint8_t>(static_cast<std::int64_t>(std::round(value)));
}

// Whole degrees on the circle: 0 is red, 120 green, 240 blue. Between blue and red the result would
// be negative and becomes 0. Takes single-precision channels and computes in double precision.
unsigned int degreesOf(double red, double green, double blue, double max, double delta) {
    double degrees = 0;
    if (red == max) {
        degrees = 60 * std::fmod((green - blue) / delta, 6);
    } else if (green == max) {
        degrees = 60 * ((blue - red) / delta + 2);
    } else {
        degrees = 60 * ((red - green) / delta + 4);
    }
    return static_cast<unsigned int>(std::max(std::round(degrees), 0.0));
}

}  // namespace

HSVColor hsvOfRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    const float red = static_cast<float>(r) / 255;
    const float green = static_cast<float>(g) / 255;
    const float blue = static_cast<float>(b) / 255;
    const float max = std::max({red, green, blue});
    const float delta = max - std::min({red, green, blue});
    if (delta == 0) {
        return {};
    }
    const unsigned int hueByte = degreesOf(red, green, blue, max, delta) * 255 / 360;
    const std::uint8_t saturation = toByte(static_cast<double>(delta / max * 255));
    return {static_cast<std::uint8_t>(hueByte), saturation, saturation};
}

std::uint16_t bridgeHueOf(std::uint8_t hue) {
    return static_cast<std::uint16_t>(std::lround(hue * kBridgeHueCircle / 255.0));
}

HSVColor hsvOfBridge(unsigned int hue, unsigned int sat, unsigned int bri) {
    return {toByte(hue * 255.0 / kBridgeHueCircle), static_cast<std::uint8_t>(sat),
            static_cast<std::uint8_t>(bri)};
}

RGB rgbOfBridge(unsigned int hue, unsigned int sat, unsigned int bri) {
    const auto degrees = static_cast<unsigned int>(std::lround(hue * 360.0 / kBridgeHueCircle));
    const double saturation = sat / 255.0;
    const double value = bri / 255.0;
    const double chroma = value * saturation;
    const double second = chroma * (1 - std::fabs(std::fmod(degrees / 60.0, 2) - 1));
    const double base = value - chroma;

    struct Channels {
        double red, green, blue;
    };
    const Channels sectors[] = {{chroma, second, 0}, {second, chroma, 0}, {0, chroma, second},
                                {0, second, chroma}, {second, 0, chroma}, {chroma, 0, second}};
    constexpr Channels kBeyondTheCircle{0, 0, 0};
    const Channels& channels = degrees < 360 ? sectors[degrees / 60] : kBeyondTheCircle;
    return {toByte((channels.red + base) * 255), toByte((channels.green + base) * 255),
            toByte((channels.blue + base) * 255)};
}

unsigned int reciprocalTemperature(unsigned int value) {
    constexpr unsigned int kMega = 1'000'000;
    return value != 0 ? kMega / value : 0;
}

}  // namespace ColorConversion
