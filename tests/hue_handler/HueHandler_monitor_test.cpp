// The state monitor and what it reports to the core.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/hue_handler/HandlerTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MonitorTest : public HandlerTest {
  protected:
    /// What the core has received since it forgot its reports, as "object=value".
    std::vector<std::string> reports() const {
        std::vector<std::string> reports;
        for (const auto& report : core_.reports()) {
            EXPECT_EQ(report.caller, "100");
            reports.push_back(std::to_string(report.object) + "=" + report.value);
        }
        return reports;
    }
    /// True if a report begins with `part`.
    bool has_reported(const std::string& part) const {
        return testing::Value(reports(), testing::Contains(testing::StartsWith(part)));
    }
    /// Changes light 4 at the bulb, lets two polls pass and returns their reports.
    std::vector<std::string> reports_after(const std::string& change) {
        core_.forget_reports();
        change_light(4, change);
        EXPECT_TRUE(wait_for_polls(2));
        return reports();
    }
};

TEST_F(MonitorTest, EachRoleIsReportedOnceWhenItChanges) {
    start();
    EXPECT_THAT(reports_after("{}"), IsEmpty());
    EXPECT_THAT(reports_after(R"({"on":false})"), ElementsAre("141=0"));
    EXPECT_THAT(reports_after(R"({"on":true})"), ElementsAre("141=1"));
    EXPECT_THAT(reports_after(R"({"ct":500})"), ElementsAre("143=100"));
    EXPECT_THAT(reports_after(R"({"bri":201})"), ElementsAre("142=79"));
    EXPECT_THAT(reports_after(R"({"bri":254,"hue":0,"sat":254})"),
                ElementsAre("142=100", "144=254", "145=1", "146=1", "147=#00FEFE"));
}

TEST_F(MonitorTest, DriftWithinTheTolerancesIsAbsorbedAndStored) {
    start();
    reports_after(R"({"bri":254,"hue":0,"sat":254})");
    // Red and the hsv object's value 5 lower, then 6; the brightness itself has no tolerance.
    EXPECT_THAT(reports_after(R"({"bri":249})"), ElementsAre("142=98"));
    EXPECT_THAT(reports_after(R"({"bri":243})"), ElementsAre("142=95", "144=243", "147=#00FEF3"));
    reports_after(R"({"bri":254})");
    // Saturation 5 lower, then 5 lower again: each within the tolerance, so nothing for the hsv
    // object; green and blue rise by 5 each time.
    EXPECT_THAT(reports_after(R"({"sat":249})"), IsEmpty());
    EXPECT_THAT(reports_after(R"({"sat":244})"), IsEmpty());
    EXPECT_THAT(reports_after(R"({"sat":238})"), ElementsAre("145=17", "146=17", "147=#00EEFE"));
    // 150 steps of the 8-bit hue are within its tolerance, 151 are not.
    reports_after(R"({"hue":0})");
    EXPECT_THAT(reports_after(R"({"hue":38550})"),
                testing::Not(testing::Contains(testing::StartsWith("147="))));
    reports_after(R"({"hue":0})");
    EXPECT_THAT(reports_after(R"({"hue":38807})"), testing::Contains("147=#97EEFE"));
}

TEST_F(MonitorTest, AColorLightWithoutAnHsvObjectReportsNothing) {
    database_.rows("DELETE FROM vexad_object_relation WHERE childobj_id IN (144, 147);");
    start();
    EXPECT_THAT(reports_after(R"({"hue":60000,"sat":10})"), IsEmpty());
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(MonitorTest, NothingIsReadInTheQuietTimeAfterACommand) {
    timings_.poll_period_ms = 700;
    start();
    run_and_wait(142, "5");
    bridge_.gate().forget();
    for (int i = 0; i < 6; ++i) {
        run(142, i % 2 == 0 ? "10" : "20");
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    EXPECT_EQ(bridge_.count("GET", "/lights"), 0);
    EXPECT_TRUE(eventually([this] { return has_reported("142="); }));
    EXPECT_THAT(reports(), testing::Contains(testing::StartsWith("142=")).Times(1));  // the last
}

TEST_F(MonitorTest, AnswersOfTheWrongShapeChangeAndReportNothing) {
    start();
    for (const char* body : {"[]", "null", "\"x\"", R"({"4":[]})", R"({"4":7,"1":{}})",
                             R"([{"error":{"type":1,"description":"unauthorized user"}}])"}) {
        bridge_.send_answer("200 OK", "application/json", body, 2);
        EXPECT_THAT(reports_after("{}"), IsEmpty()) << body;
    }
}

TEST_F(MonitorTest, AFailedInitialReadIsRepeatedUntilItSucceeds) {
    timings_.polls_before_reread = 4;
    bridge_.inject_fault("html");
    ASSERT_EQ(init(), 0);
    EXPECT_TRUE(logged("strToJsonValue() (light id = 4)"));
    log_.clear();
    run(141, "0");
    EXPECT_TRUE(logged("Error in Hue peekLight(): light id is not valid (light id = 4)"));
    bridge_.recover();
    // A read that has begun may still fail; the next one does not.
    EXPECT_TRUE(eventually([this] {
        run(141, "0");
        return !bridge_.light(4).is_on();
    }));
    EXPECT_TRUE(logged("Check again the list with the bridge."));
    log_.clear();
    EXPECT_TRUE(wait_for_polls(6));
    EXPECT_EQ(log_.count("Check again"), 0U);
}

TEST_F(MonitorTest, ARepeatedInitialReadLeavesOutWhatWasReadBefore) {
    database_.rows("INSERT INTO vexad_object VALUES (170, '7', '', '')");
    database_.rows(
        "INSERT INTO vexad_object_relation VALUES (100, 170, ''),"
        " (170, 171, 'tag_complex_element=on_off')");
    timings_.polls_before_reread = 4;
    start();
    // On a busy machine the first attempt may fail.
    ASSERT_TRUE(eventually([this] { return bridge_.count("GET", "/lights/1") > 0; }));
    ASSERT_TRUE(wait_for_polls(1));
    const int reads = bridge_.count("GET", "/lights/1");
    log_.clear();
    ASSERT_TRUE(logged("Check again the list with the bridge."));
    ASSERT_TRUE(logged("Error in Hue getLight(): light id is not valid (light id = 7)"));
    EXPECT_EQ(bridge_.count("GET", "/lights/1"), reads);
}

TEST_F(MonitorTest, ASilentCoreCostsOneTimeoutPerPollAndLosesNoChange) {
    start();
    core_.inject_fault("silent");
    log_.clear();
    change_light(4, R"({"on":false,"bri":3,"ct":200})");
    bridge_.light(5).turn(true);
    ASSERT_TRUE(logged("Monitoring thread - the core is slow or does not answer"));
    // One report has timed out; a second one would take another 5 s.
    EXPECT_EQ(log_.count("ERROR sending vexad request"), 1U);
    core_.recover();
    EXPECT_TRUE(eventually([this] { return has_reported("142=1") && has_reported("151=1"); }));
    EXPECT_FALSE(has_reported("141="));  // the report that timed out
}

TEST_F(MonitorTest, ASlowCoreBlocksNoCommandAndLosesNoChange) {
    start();
    core_.inject_fault("late");
    change_light(4, R"({"on":false,"bri":3,"ct":200,"hue":40000,"sat":254})");
    bridge_.light(5).turn(true);
    ASSERT_TRUE(logged("Monitoring thread - the core is slow or does not answer"));
    EXPECT_LE(core_.reports().size(), 3U);  // of nine, each of which takes a second
    core_.recover();
    EXPECT_TRUE(eventually([this] { return has_reported("147=") && has_reported("151=1"); }));
    EXPECT_TRUE(has_reported("141=0"));
    EXPECT_TRUE(has_reported("142=1"));
}

TEST_F(MonitorTest, ValuesThatAlwaysChangeStarveNoOtherLightOrRoleOfASlowCore) {
    start();
    core_.inject_fault("late");  // two reports for each poll
    change_light(4, R"({"hue":40000,"sat":254})");
    bridge_.light(5).turn(true);
    int change = 0;
    EXPECT_TRUE(eventually([&] {
        ++change;
        const std::string brightness = std::to_string(change % 200 + 1);
        const std::string mired = std::to_string(change % 300 + 160);
        change_light(4, "{\"bri\":" + brightness + ",\"ct\":" + mired + "}");
        return has_reported("147=") && has_reported("151=1");
    }));
}

TEST_F(MonitorTest, ASlowReportOfTheLastLightLeavesNothingToTheNextPoll) {
    start();
    core_.inject_fault("silent");
    bridge_.light(6).turn(true);
    ASSERT_TRUE(logged("ERROR sending vexad request"));
    ASSERT_TRUE(wait_for_polls(1));
    EXPECT_TRUE(never_logged("further changes wait for the next poll"));
}

TEST_F(MonitorTest, AReportThatFailsIsNamedByItsObject) {
    start();
    core_.inject_fault("cut");
    EXPECT_THAT(reports_after(R"({"on":false})"), IsEmpty());
    EXPECT_TRUE(
        logged("ERROR sending vexad request: core_request::run error calling "
               "fsmcore_request <6>"));
    reports_after(R"({"on":true,"bri":3,"ct":200})");
    EXPECT_TRUE(logged("!! BRIGHTNESS id 142 !!"));
    EXPECT_TRUE(logged("!! TEMPERATURE id 143 !!"));
    reports_after(R"({"hue":40000,"sat":254,"bri":254})");
    EXPECT_TRUE(logged("!! 144 !!"));
    EXPECT_TRUE(logged("!! 146 !!"));
    core_.recover();
    EXPECT_THAT(reports_after(R"({"on":false})"), ElementsAre("141=0"));
}

}  // namespace
