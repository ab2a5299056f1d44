#include "hue_handler/LightTable.h"

#include "tests/support/Vectors.h"

namespace {

using hue_handler::LightTable;

constexpr const char* kRows = "hue_handler/LightTable.txt";

class LightTableTest : public testing::Test {
  protected:
    /// The problem of the row, empty for a valid one.
    std::string add(const std::string& msp, const std::string& child, const std::string& optional) {
        return table_.add_row({{"MSP", msp}, {"CHILDOBJ_ID", child}, {"OPTIONAL", optional}});
    }
    /// "light role" for each use of the object.
    std::string uses_of(int object_id) const {
        std::string text;
        for (const LightTable::Use& use : table_.uses_of(object_id)) {
            text += std::to_string(use.light_id) + " " + use.role->name + "\n";
        }
        return text;
    }

    LightTable table_;
};

TEST_F(LightTableTest, TheFirstRoleInTheOrderOfTheTableCounts) {
    int object = 0;
    for_each_vector(kRows, "markers", 3, [&](const auto& cells) {
        EXPECT_EQ(add("1", std::to_string(++object), cells[0]), "");
        EXPECT_EQ(uses_of(object), cells[1] == "-" ? "" : "1 " + cells[1] + "\n");
        EXPECT_EQ(table_.entries().size(), 1U) << "also without a role";
    });
    const hue_handler::HueLightState& light = table_.entries().at(1);
    EXPECT_EQ((std::vector<int>{light.on_off_object, light.value_object, light.temperature_object,
                                light.r_object, light.g_object, light.b_object, light.hsv_object}),
              (std::vector<int>{10, 2, 3, 11, 5, 6, 9}));
}

TEST_F(LightTableTest, AnObjectMayHaveSeveralUsesAndALaterRowReplacesAnObject) {
    add("2", "10", "tag_complex_element=value");
    add("1", "10", "tag_complex_element=hsv");
    add("1", "10", "tag_complex_element=r");
    EXPECT_EQ(uses_of(10), "1 r\n1 hsv\n2 value\n");
    add("2", "11", "tag_complex_element=value");
    EXPECT_EQ(uses_of(10), "1 r\n1 hsv\n");
    add("1", "12", "tag_complex_element=on_off");
    EXPECT_STREQ(LightTable::role_driven_by(10, table_.entries().at(1), {true, true, true})->name,
                 "hsv");
    EXPECT_EQ(uses_of(0), "") << "0 means that a light has no object";
}

TEST_F(LightTableTest, ABadRowChangesNothingAndItsTextForgesNoLogLine) {
    for_each_vector(kRows, "bad rows", 4, [&](const auto& cells) {
        EXPECT_EQ(add(cells[0], cells[1], "tag_complex_element=value"), cells[2]);
    });
    EXPECT_NE(table_.add_row({{"OPTIONAL", "tag_complex_element=value"}}), "");
    EXPECT_TRUE(table_.entries().empty());
    EXPECT_EQ(table_.add_row({{"MSP", "8"}, {"CHILDOBJ_ID", "80"}}), "") << "no optional text";
}

}  // namespace
