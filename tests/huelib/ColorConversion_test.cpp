// The conversions against simulator/conversions.txt, and what they do beyond its range.
#include "huelib/ColorConversion.h"

#include <climits>

#include "tests/support/Vectors.h"

using namespace ColorConversion;

namespace {

using Numbers = std::vector<unsigned long>;
constexpr const char* kConversions = "../simulator/conversions.txt";

std::uint8_t byte(const std::string& cell) {
    return static_cast<std::uint8_t>(std::stoul(cell));
}

}  // namespace

TEST(ColorConversion, ConvertsTheColorOfTheBridge) {
    for_each_vector(kConversions, "color", 8, [](const auto& cells) {
        Numbers all;
        for (std::size_t i = 0; i < 6; ++i) {
            all.push_back(std::stoul(cells[i]));
        }
        const auto hue = static_cast<unsigned>(all[0]);
        const auto sat = static_cast<unsigned>(all[1]);
        const auto bri = static_cast<unsigned>(all[2]);
        const RGB rgb = rgbOfBridge(hue, sat, bri);
        EXPECT_EQ((Numbers{rgb.r, rgb.g, rgb.b}), (Numbers{all[3], all[4], all[5]}));
        const HSVColor hsv = hsvOfBridge(hue, sat, bri);
        EXPECT_EQ(hsv.hue * 0x10000UL + hsv.saturation * 0x100UL + hsv.value,
                  std::stoul(cells[6].substr(1), nullptr, 16));
    });
}

TEST(ColorConversion, ConvertsCommandedChannels) {
    for_each_vector(kConversions, "rgb", 7, [](const auto& cells) {
        const HSVColor hsv = hsvOfRGB(byte(cells[0]), byte(cells[1]), byte(cells[2]));
        const bool is_off = cells[3] == "off";
        EXPECT_EQ(
            (Numbers{bridgeHueOf(hsv.hue), hsv.saturation, hsv.value}),
            is_off ? Numbers(3)
                   : (Numbers{std::stoul(cells[3]), std::stoul(cells[4]), std::stoul(cells[5])}));
    });
}

TEST(ColorConversion, KeepsTheLowByteOfAColorThatIsOutOfRange) {
    const HSVColor narrowed = hsvOfBridge(UINT_MAX, 257, 258);
    EXPECT_EQ(narrowed.saturation, 1);
    EXPECT_EQ(narrowed.value, 2);
    rgbOfBridge(UINT_MAX, UINT_MAX, UINT_MAX);  // no undefined behaviour
}

TEST(ColorConversion, TruncatesBetweenKelvinAndMired) {
    EXPECT_EQ(reciprocalTemperature(6500), 153U);
    EXPECT_EQ(reciprocalTemperature(153), 6535U);
    EXPECT_EQ(reciprocalTemperature(1000001), 0U);
    EXPECT_EQ(reciprocalTemperature(0), 0U);
}
