#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "HouseTest.h"

namespace {

class Commands : public HouseTest {
  protected:
    struct Command {
        int object;
        const char* payload;
        int light;
        const char* member;  // null: not looked at
        const char* value;
    };

    void carry_out(const std::vector<Command>& commands) {
        for (const Command& command : commands) {
            runs(command.object, command.payload);
            if (command.member != nullptr) {
                EXPECT_TRUE(light_is(command.light, command.member, command.value))
                    << "object " << command.object << " " << command.payload << ": "
                    << command.member << " is "
                    << simulator::compact_json(house.light(command.light).state(command.member));
            }
        }
    }
};

TEST_F(Commands, DriveWhiteLights) {
    start();
    carry_out({
        {111, "1", 1, "on", "true"},
        {112, "100", 1, "bri", "254"},
        {112, "1", 1, "bri", "2"},
        {111, "0", 1, "on", "false"},
        {112, "50", 1, "on", "true"},
        {122, "0", 2, "on", "false"},
        {123, "100", 2, "ct", "500"},
        {123, "0", 2, "ct", "153"},
    });
    EXPECT_TRUE(house.light(2).is_on()) << "a temperature switches the light on";
}

TEST_F(Commands, DriveColourLights) {
    start();
    carry_out({
        // Channel by channel; each command carries the other two.
        {134, "255", 0, nullptr, nullptr},
        {135, "0", 0, nullptr, nullptr},
        {136, "0", 3, "hue", "0"},
        {135, "255", 3, "hue", "10794"},
        {132, "10", 3, "bri", "25"},
        // A value's low byte is the channel.
        {144, "#FF8000", 0, nullptr, nullptr},
        {145, "#0000FF", 0, nullptr, nullptr},
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
    });
}

TEST_F(Commands, GreySwitchesALightOff) {
    start();
    carry_out({{144, "200", 0, nullptr, nullptr},
               {145, "0", 0, nullptr, nullptr},
               {146, "0", 4, "hue", "0"},
               {145, "200", 0, nullptr, nullptr},
               {146, "200", 4, "on", "false"}});
}

TEST_F(Commands, LeaveAloneWhatTheyDoNotChange) {
    start();
    runs(121, "1");   // it is on
    runs(111, "7");   // neither on nor off
    runs(149, "0");   // a preset is no role
    runs(9999, "1");  // nobody's
    runs(142, "NO-PAYLOAD");
    runs(112, "30");
    EXPECT_TRUE(light_is(1, "bri", "76"));
    for (const auto& request : house.bridge().requests()) {
        EXPECT_TRUE(request.method == "GET" || request.path.find("/lights/1/") != std::string::npos)
            << request.path;
    }
}

TEST_F(Commands, RefuseWhatIsNoValue) {
    start();
    for (const char* payload : {"#12345", "12x", "", "4294967296", "#GG0000", "- 5"}) {
        runs(142, payload);
    }
    EXPECT_TRUE(logs(6, "Invalid RUN parameters: "));
    EXPECT_EQ(house.core().sends("SERVICE_RUNONELEMENT", {"142", "STOP", "50"}), 0);
    EXPECT_TRUE(logs("Discard received request since it is not a RUN"));
    runs(112, "2147483647");
    EXPECT_TRUE(light_is(1, "bri", "254"));
    EXPECT_EQ(house.light(4).brightness(), 200U);
}

TEST_F(Commands, BurstIsAnsweredAtOnceCarriedOutInOrderAndPaced) {
    constexpr int kCommands = 30;
    constexpr Milliseconds kPace{100};
    // A busy machine may hold up one request between its slot and the wire, never the whole row.
    constexpr Milliseconds kSlack{50};
    start();
    house.bridge().gate().forget();
    std::vector<unsigned> wanted;
    for (int percent = 1; percent <= kCommands; ++percent) {
        runs(122, std::to_string(percent));
        wanted.push_back(static_cast<unsigned>(percent * 254 / 100));
    }
    EXPECT_LT(house.bridge().count("PUT", "/lights/2/state"), kCommands) << "answered before";
    EXPECT_TRUE(light_is(2, "bri", std::to_string(wanted.back())));

    std::vector<unsigned> sent;
    const auto requests = house.bridge().requests();
    for (const auto& request : requests) {
        if (request.method == "PUT") {
            sent.push_back((*simulator::parse_json(request.body))["bri"].asUInt());
        }
    }
    EXPECT_EQ(sent, wanted);
    EXPECT_GE(house.bridge().gate().smallest_gap(), kPace - kSlack);
    const auto whole = requests.back().start - requests.front().start;
    EXPECT_GE(whole + kSlack, kPace * (requests.size() - 1));
}

}  // namespace
