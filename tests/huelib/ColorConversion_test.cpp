#include "huelib/ColorConversion.h"

#include <gtest/gtest.h>

using namespace ColorConversion;

TEST(ColorConversion, ConvertsRgbToHueAndSaturation) {
    const struct {
        RGB requested;
        HSVColor expected;
    } cases[] = {
        {{255, 0, 0}, {0, 255, 255}},     {{0, 255, 0}, {85, 255, 255}},
        {{0, 0, 255}, {170, 255, 255}},   {{255, 255, 0}, {42, 255, 255}},
        {{0, 255, 255}, {127, 255, 255}}, {{255, 0, 128}, {0, 255, 255}},  // no negative hue
        {{128, 128, 128}, {0, 0, 0}},     {{255, 255, 255}, {0, 0, 0}},
        {{200, 100, 100}, {0, 128, 128}},  // the value is the saturation
        {{1, 0, 0}, {0, 255, 255}},       {{128, 0, 255}, {191, 255, 255}},
    };
    for (const auto& each : cases) {
        const HSVColor found = hsvOfRGB(each.requested.r, each.requested.g, each.requested.b);
        EXPECT_EQ(
            (std::vector<int>{found.hue, found.saturation, found.value}),
            (std::vector<int>{each.expected.hue, each.expected.saturation, each.expected.value}))
            << int{each.requested.r} << "," << int{each.requested.g} << ","
            << int{each.requested.b};
    }
}

TEST(ColorConversion, ConvertsTheBridgesColorToRgb) {
    const struct {
        unsigned hue, sat, bri;
        int r, g, b;
    } cases[] = {
        {0, 255, 255, 255, 0, 0},       {10923, 255, 255, 255, 255, 0},
        {21845, 255, 255, 0, 255, 0},   {32768, 255, 255, 0, 255, 255},
        {43690, 255, 255, 0, 0, 255},   {54613, 255, 255, 255, 0, 255},
        {65443, 255, 255, 255, 0, 4},   {65444, 254, 254, 1, 1, 1},  // rounds to 360 degrees
        {65535, 0, 100, 100, 100, 100}, {5461, 254, 254, 254, 127, 1},
    };
    for (const auto& each : cases) {
        const RGB found = rgbOfBridge(each.hue, each.sat, each.bri);
        EXPECT_EQ((std::vector<int>{found.r, found.g, found.b}),
                  (std::vector<int>{each.r, each.g, each.b}))
            << each.hue;
    }
}

TEST(ColorConversion, ConvertsEveryHueByteToTheBridgeAndBack) {
    for (unsigned hue = 0; hue <= 255; ++hue) {
        const std::uint16_t bridge_hue = bridgeHueOf(static_cast<std::uint8_t>(hue));
        EXPECT_EQ(bridge_hue, hue * 257);
        EXPECT_EQ(hsvOfBridge(bridge_hue, 254, 1).hue, hue);
    }
    const HSVColor narrowed = hsvOfBridge(4294967295U, 257, 258);  // out of range, but defined
    EXPECT_EQ(narrowed.saturation, 1);
    EXPECT_EQ(narrowed.value, 2);
    rgbOfBridge(4294967295U, 4294967295U, 4294967295U);
}

TEST(ColorConversion, TruncatesBetweenKelvinAndMired) {
    const unsigned cases[][2] = {{6500, 153},  {2700, 370},  {153, 6535}, {2000, 500},
                                 {1, 1000000}, {1000001, 0}, {0, 0}};
    for (const auto& each : cases) {
        EXPECT_EQ(reciprocalTemperature(each[0]), each[1]);
    }
}
