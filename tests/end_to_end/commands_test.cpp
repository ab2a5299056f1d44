#include "HouseTest.h"

namespace {

TEST_F(HouseTest, CommandsDriveEveryRoleOfEveryClass) {
    start();
    const struct {
        int object;
        const char* payload;
        int light = 0;
        const char* member = nullptr;  // null: not checked
        const char* value = nullptr;
    } kCommands[] = {
        {111, "1", 1, "on", "true"},
        {112, "100", 1, "bri", "254"},
        {112, "1", 1, "bri", "2"},
        {111, "0", 1, "on", "false"},
        {112, "50", 1, "on", "true"},
        {122, "0", 2, "on", "false"},
        {123, "100", 2, "ct", "500"},
        {123, "0", 2, "ct", "153"},
        {123, "0", 2, "on", "true"},
        // One channel at a time; each command also sends the other two.
        {134, "255"},
        {135, "0"},
        {136, "0", 3, "hue", "0"},
        {135, "255", 3, "hue", "10794"},
        {132, "10", 3, "bri", "25"},
        // The low byte of a value is the channel.
        {144, "#FF8000"},
        {145, "#0000FF"},
        {146, "256", 4, "hue", "21845"},
        {143, "50", 4, "ct", "326"},
        {143, "50", 4, "colormode", "\"ct\""},
        {147, "#5580C0", 4, "sat", "128"},
        {147, "#5580C0", 4, "bri", "192"},
        {157, "#AAFFFF", 5, "hue", "43690"},
        {157, "#AAFFFF", 5, "on", "true"},
        {153, "25", 5, "ct", "239"},
        {163, "0", 6, "on", "true"},
        {167, "#000000", 6, "on", "false"},
    };
    for (const auto& command : kCommands) {
        run_object(command.object, command.payload);
        if (command.member != nullptr) {
            EXPECT_TRUE(wait_for_light(command.light, command.member, command.value))
                << "object " << command.object << " " << command.payload << ": " << command.member
                << " is "
                << simulator::compact_json(house.light(command.light).state(command.member));
        }
    }
}

}  // namespace
