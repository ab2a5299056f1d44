#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "HouseTest.h"

namespace {

TEST_F(HouseTest, ChangesAreReportedForEveryRoleOnEveryClass) {
    start();
    change_bulb(1, R"({"on": true, "bri": 254})");
    change_bulb(2, R"({"on": false, "bri": 127, "ct": 500})");
    change_bulb(3, R"({"hue": 43690, "sat": 254, "bri": 254})");
    change_bulb(4, R"({"on": false, "bri": 1, "ct": 153, "hue": 0, "sat": 254})");
    change_bulb(5, R"({"on": true, "bri": 100, "ct": 153, "hue": 65535, "sat": 0})");
    change_bulb(6, R"({"ct": 326, "hue": 21845, "sat": 254, "bri": 254})");
    ASSERT_TRUE(wait_for_report(167, "#55FEFE"));

    const struct {
        int object;
        const char* value;
    } kReports[] = {
        {111, "1"}, {112, "100"},     {121, "0"},   {122, "50"},      {123, "100"}, {132, "100"},
        {134, "1"}, {135, "1"},       {136, "254"}, {141, "0"},       {142, "0"},   {143, "0"},
        {144, "1"}, {145, "0"},       {146, "0"},   {147, "#00FE01"}, {151, "1"},   {152, "39"},
        {153, "0"}, {157, "#FF0064"}, {162, "100"}, {163, "49"},      {164, "1"},   {165, "254"},
        {166, "1"}, {167, "#55FEFE"},
    };
    for (const auto& report : kReports) {
        EXPECT_EQ(house.core().value(report.object), report.value) << "object " << report.object;
    }
    EXPECT_EQ(house.core().reports().size(), std::size(kReports)) << "unexpected reports";
    EXPECT_EQ(house.core().reports().front().caller, "100");
    EXPECT_EQ(house.core().malformed_requests(), 0);
}

TEST_F(HouseTest, EachPollIsOneGetOfAllLights) {
    start();
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(wait_for_next_poll());
    }
    const auto requests = house.bridge().requests();
    const auto is_poll = [](const auto& request) {
        return request.method == "GET" && request.path.find("/lights") + 7 == request.path.size();
    };
    const auto first = std::find_if(requests.begin(), requests.end(), is_poll);
    for (auto next = first; next != requests.end(); ++next) {
        EXPECT_TRUE(is_poll(*next)) << next->path;
        EXPECT_TRUE(next == first || next->start - (next - 1)->start > Milliseconds(2900));
    }
    EXPECT_TRUE(house.core().reports().empty()) << "nothing changed";
}

// A bridge may still return the old state right after a command.
TEST_F(HouseTest, NothingIsReadForThreeSecondsAfterACommand) {
    start();
    change_bulb(1, R"({"on": true})");
    run_object(142, "50");
    ASSERT_TRUE(wait_for_light(4, "bri", "127"));
    const auto command = house.bridge().requests().back();
    ASSERT_EQ(command.method, "PUT");
    EXPECT_TRUE(wait_for_report(111, "1"));
    EXPECT_TRUE(wait_for_report(142, "50")) << "the result of the command";
    for (const auto& request : house.bridge().requests()) {
        const auto later = request.start - command.start;
        EXPECT_FALSE(later > Milliseconds(0) && later < Milliseconds(2900)) << request.path;
    }
}

}  // namespace
