#include "hue_handler/LightTable.h"

#include <gtest/gtest.h>

namespace {

using hue_handler::HueLightState;
using hue_handler::LightTable;

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

TEST_F(LightTableTest, EachRoleIsFoundWithAndWithoutQuotes) {
    int object = 0;
    for (const auto& role : LightTable::kRoles) {
        const std::string name = role.name;
        EXPECT_EQ(add("1", std::to_string(++object), "x|tag_complex_element=" + name + "|y"), "");
        EXPECT_EQ(uses_of(object), "1 " + name + "\n");
        EXPECT_EQ(add("2", std::to_string(++object), "tag_complex_element='" + name + "'"), "");
        EXPECT_EQ(uses_of(object), "2 " + name + "\n");
    }
    const HueLightState& light = table_.entries().at(1);
    EXPECT_EQ(light.on_off_object, 1);
    EXPECT_EQ(light.value_object, 3);
    EXPECT_EQ(light.temperature_object, 5);
    EXPECT_EQ(light.r_object, 7);
    EXPECT_EQ(light.g_object, 9);
    EXPECT_EQ(light.b_object, 11);
    EXPECT_EQ(light.hsv_object, 13);
}

TEST_F(LightTableTest, TheFirstRoleInTheOrderOfTheTableCounts) {
    add("1", "10",
        "tag_complex_element=hsv|tag_complex_element=value|tag_complex_element='on_off'");
    EXPECT_EQ(uses_of(10), "1 on_off\n");
    add("1", "11", "tag_complex_element=hsv|tag_complex_element=red");
    EXPECT_EQ(uses_of(11), "1 r\n") << "without quotes, \"r\" also matches \"red\"";
    add("1", "12", "tag_complex_element='red'");
    EXPECT_EQ(uses_of(12), "");
}

TEST_F(LightTableTest, AnObjectMayHaveSeveralUsesAndALaterRowReplacesAnObject) {
    add("2", "10", "tag_complex_element=value");
    add("1", "10", "tag_complex_element=hsv");
    add("1", "10", "tag_complex_element=r");
    EXPECT_EQ(uses_of(10), "1 r\n1 hsv\n2 value\n");
    add("2", "11", "tag_complex_element=value");
    EXPECT_EQ(uses_of(10), "1 r\n1 hsv\n");
    EXPECT_EQ(uses_of(0), "") << "0 means that a light has no object";
}

TEST_F(LightTableTest, ARowWithoutARoleStillAddsItsLight) {
    EXPECT_EQ(add("7", "70", ""), "");
    EXPECT_EQ(table_.add_row({{"MSP", "8"}, {"CHILDOBJ_ID", "80"}}), "");
    EXPECT_EQ(table_.entries().size(), 2U);
    EXPECT_EQ(uses_of(70), "");
}

TEST_F(LightTableTest, ABadRowChangesNothingAndItsTextForgesNoLogLine) {
    EXPECT_EQ(add("1\n2", "3", ""),
              "Incomplete or malformed db information: MSP='1\\x0a2', CHILDOBJ_ID='3'");
    EXPECT_EQ(add("1", "x\x1b", ""),
              "Incomplete or malformed db information: MSP='1', CHILDOBJ_ID='x\\x1b'");
    EXPECT_EQ(table_.add_row({{"OPTIONAL", "tag_complex_element=value"}}),
              "Incomplete or malformed db information: MSP='', CHILDOBJ_ID=''");
    EXPECT_TRUE(table_.entries().empty());
}

TEST_F(LightTableTest, TheQueryNamesTheBridgeObjectAndLeavesOutPresets) {
    const std::string query = LightTable::query(4000000);
    EXPECT_NE(query.find("WHERE vexad_object.id = 4000000) AND"), std::string::npos);
    EXPECT_NE(query.find("NOT LIKE '%preset%'"), std::string::npos);
}

}  // namespace
