// The conversions against simulator/conversions.txt, and what they do beyond its range.
#include "hue_handler/UnitConversion.h"

#include "tests/support/Vectors.h"

namespace {

using namespace hue_handler;

constexpr const char* kConversions = "../simulator/conversions.txt";
constexpr const char* kOwn = "hue_handler/UnitConversion.txt";

std::int32_t number(const std::string& cell) {
    return static_cast<std::int32_t>(std::stol(cell));
}

// A cell without a number gives nothing.
void expect_both(const std::vector<std::string>& cells, std::uint32_t (*up)(std::int32_t),
                 std::uint32_t (*down)(std::uint32_t)) {
    if (cells[0] != "-" && cells[1] != "off") {
        EXPECT_EQ(std::to_string(up(number(cells[0]))), cells[1]);
    }
    if (cells[2] != "-") {
        EXPECT_EQ(std::to_string(down(static_cast<std::uint32_t>(number(cells[1])))), cells[2]);
    }
}

TEST(UnitConversion, ConvertsPercentAndBrightness) {
    for_each_vector(kConversions, "brightness", 4, [](const auto& cells) {
        expect_both(cells, brightness_of_percent, percent_of_brightness);
    });
}

TEST(UnitConversion, ConvertsPercentAndMired) {
    for_each_vector(kConversions, "temperature", 4, [](const auto& cells) {
        expect_both(cells, mired_of_percent, percent_of_mired);
    });
    EXPECT_EQ(percent_of_mired(152), (0U - 100U) / 347U) << "below the scale it wraps";
}

TEST(UnitConversion, NoPayloadWrapsIntoTheValidRange) {
    for_each_vector(kOwn, "out_of_range", 4, [](const auto& cells) {
        EXPECT_EQ(std::to_string(brightness_of_percent(number(cells[0]))), cells[1]);
        EXPECT_EQ(std::to_string(mired_of_percent(number(cells[0]))), cells[2]);
    });
}

TEST(UnitConversion, ColorWordsAreSplitAndComposed) {
    const HSVColor color = hsv_of_word(-0x0035FF00);  // 0xFFCA0100: the bits above are ignored
    EXPECT_EQ(text_of_hsv(color.hue, color.saturation, color.value), "#CA0100");
    EXPECT_EQ(color.hue, 0xCA);
    EXPECT_EQ(color.saturation, 0x01);
}

TEST(UnitConversion, ReadsWholePayloadsOnly) {
    for_each_vector(kOwn, "payloads", 3, [](const auto& cells) {
        std::string problem;
        const auto found = number_of_payload(cells[0], problem);
        EXPECT_EQ(found ? std::to_string(*found) : "refused", cells[1]);
        EXPECT_EQ(problem.empty(), found.has_value()) << problem;
    });
}

}  // namespace
