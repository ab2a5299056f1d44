// JSON of the wrong type, shape or size.
#include "huelib/JsonAccess.h"

#include <sstream>

#include "huelib/LinHttpHandler.h"
#include "tests/huelib/TestLight.h"

namespace {

template <typename T>
std::string text_of(const std::optional<T>& value) {
    std::ostringstream text;
    text << std::boolalpha;
    value ? text << *value : text << "-";
    return text.str();
}

}  // namespace

TEST(JsonAccess, ConvertsOrGivesNothing) {
    for_each_vector("huelib/answers.txt", "values", 6, [](const auto& cells) {
        const Json::Value value = *simulator::parse_json(cells[0]);
        EXPECT_EQ(text_of(JsonAccess::toBool(value)), cells[1]);
        EXPECT_EQ(text_of(JsonAccess::toUnsigned(value)), cells[2]);
        std::optional<double> real;
        if (cells[3] != "-") {
            real = std::stod(cells[3]);
        }
        EXPECT_EQ(JsonAccess::toDouble(value), real);
        EXPECT_EQ(text_of(JsonAccess::toString(value)), cells[4]);
        EXPECT_TRUE(JsonAccess::member(value, "a").isNull());
    });
    EXPECT_EQ(JsonAccess::asFloat(-1e300), std::numeric_limits<float>::lowest());
    EXPECT_EQ(JsonAccess::toDouble(std::numeric_limits<double>::quiet_NaN()), std::nullopt);
}

// Styled text has a tab for each level in every line: a deep and wide entry would become hundreds
// of times as large.
TEST(JsonAccess, NestingDeeperThanThatOfABridgeIsRefused) {
    const auto nested = [](std::size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    Json::Value value;
    EXPECT_TRUE(JsonAccess::parse(nested(30), value));
    EXPECT_FALSE(JsonAccess::parse(nested(33), value));
    EXPECT_FALSE(JsonAccess::parse(nested(100000), value));
}

// A value with two bytes of text takes a hundred bytes in memory.
TEST(JsonAccess, MoreValuesThanTheLargestBridgeHasAreRefused) {
    constexpr std::size_t kLongestAnswer = LinHttpHandler::Limits().answerBytes;
    const auto repeated = [](std::string text, const std::string& item) {
        while (text.size() < kLongestAnswer) {
            text += item;
        }
        return text;
    };
    Json::Value value;
    const std::string light = simulator::compact_json(description_with("{}"));
    EXPECT_TRUE(JsonAccess::parse(repeated("{", "\"1\":" + light + ",") + "\"0\":{}}", value))
        << "a bridge's own values are longer";
    for (const char* item : {"1,", "[],", "{},"}) {
        EXPECT_FALSE(JsonAccess::parse(repeated("[", item) + "1]", value)) << item;
    }
}
