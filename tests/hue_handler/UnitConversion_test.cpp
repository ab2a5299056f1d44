#include "hue_handler/UnitConversion.h"

#include <climits>

#include <gtest/gtest.h>

namespace {

using namespace hue_handler;

TEST(UnitConversion, PercentReachesBothEndsAndTruncates) {
    EXPECT_EQ(brightness_of_percent(100), 254U);
    EXPECT_EQ(brightness_of_percent(1), 2U);
    EXPECT_EQ(brightness_of_percent(33), 83U);
    EXPECT_EQ(mired_of_percent(0), 153U);
    EXPECT_EQ(mired_of_percent(100), 500U);
    EXPECT_EQ(mired_of_percent(50), 326U);
    EXPECT_EQ(percent_of_brightness(254), 100U);
    EXPECT_EQ(percent_of_brightness(83), 32U);
    EXPECT_EQ(percent_of_mired(153), 0U);
    EXPECT_EQ(percent_of_mired(500), 100U);
    EXPECT_EQ(percent_of_mired(152), (0U - 100U) / 347U) << "below the scale it wraps";
}

TEST(UnitConversion, ANegativeResultIsReadAsUnsigned) {
    EXPECT_EQ(brightness_of_percent(-5), UINT32_MAX - 11);
    EXPECT_EQ(brightness_of_percent(-1), UINT32_MAX - 1);
    EXPECT_EQ(mired_of_percent(-1), 150U);
    EXPECT_EQ(mired_of_percent(-44), 1U);
    EXPECT_EQ(mired_of_percent(-45), UINT32_MAX - 2);
    EXPECT_EQ(mired_of_percent(-100), UINT32_MAX - 193);
}

TEST(UnitConversion, NoPayloadWrapsIntoTheValidRange) {
    EXPECT_EQ(brightness_of_percent(INT32_MAX), UINT32_MAX);
    EXPECT_EQ(mired_of_percent(INT32_MAX), UINT32_MAX);
    // In 64 bits these are -4294967295 and -4294967002; their low 32 bits are within the range.
    EXPECT_EQ(brightness_of_percent(-1690932006), 1U << 31);
    EXPECT_EQ(mired_of_percent(-1237742696), 1U << 31);
    EXPECT_EQ(brightness_of_percent(INT32_MIN), 1U << 31);
    EXPECT_EQ(mired_of_percent(INT32_MIN), 1U << 31);
}

TEST(UnitConversion, ColorWordsAreSplitAndComposed) {
    const HSVColor color = hsv_of_word(0xFF8000);
    EXPECT_EQ(color.hue, 0xFF);
    EXPECT_EQ(color.saturation, 0x80);
    EXPECT_EQ(color.value, 0x00);
    EXPECT_EQ(text_of_hsv(0x0A, 0xFF, 0x00), "#0AFF00");
    EXPECT_EQ(hsv_of_word(-1).hue, 0xFF);
}

TEST(UnitConversion, ReadsWholePayloadsOnly) {
    std::string problem;
    EXPECT_EQ(number_of_payload("#FF8000", problem), 0xFF8000);
    EXPECT_EQ(number_of_payload("#00ff10", problem), 0x00FF10);
    EXPECT_EQ(number_of_payload("042", problem), 42);
    EXPECT_EQ(number_of_payload("-7", problem), -7);
    EXPECT_EQ(number_of_payload("2147483647", problem), INT32_MAX);
    for (const char* bad : {"", "#12345", "#GG0000", "#-12345", "#+12345", "12abc", " 5", "5 ",
                            "0x10", "2147483648", "ON"}) {
        problem.clear();
        EXPECT_FALSE(number_of_payload(bad, problem)) << bad;
        EXPECT_FALSE(problem.empty()) << bad;
    }
    EXPECT_FALSE(number_of_payload(std::string("5\0junk", 6), problem));
}

}  // namespace
