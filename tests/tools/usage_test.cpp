#include <string>
#include <vector>

#include "HuectlTest.h"

namespace {

class Usage : public HuectlTest {};

TEST_F(Usage, RefusesAValueOutOfRangeAndNamesTheRange) {
    struct Case {
        Words options;
        const char* error_part;
    };
    const std::vector<Case> cases = {
        {{"--brightness", "101"}, "0..100"},
        {{"--brightness", "-1"}, "0..100"},
        {{"--brightness", "50%"}, "0..100"},
        {{"--brightness", "4294967297"}, "0..100"},
        {{"--kelvin", "1999"}, "2000..6535"},
        {{"--kelvin", "6536"}, "2000..6535"},
        {{"--mired", "152"}, "153..500"},
        {{"--mired", "501"}, "153..500"},
        {{"--rgb", "12345"}, "six hex digits"},
        {{"--rgb", "-12345"}, "six hex digits"},
        {{"--rgb", "FFFFFF"}, "--kelvin for white"},
        {{"--hsv", "256,0,0"}, "0..255"},
        {{"--hsv", "1,2,3,4"}, "0..255"},
        {{"--hsv", "0,0,0"}, "use --off"},
        {{"--xy", "1.1,0"}, "0..1"},
        {{"--xy", "nan,0"}, "0..1"},
        {{"--loop", "yes"}, "on or off"},
        {{"--on", "--transition", "25600"}, "0..25500"},
        {{"--on", "--transition", "150"}, "multiple of 100"},
        {{"--transition", "100"}, "needs a change"},
        {{"--name", ""}, "1..32"},
        {{"--name", std::string(33, 'x')}, "1..32"},
        {{"--name", "a\x1b"}, "1..32"},
        {{"--flash", "FFFFFF"}, "grey"},
        {{"--flash", "7000"}, "2000..6535"},
        {{"--on", "--off"}, "contradict"},
        {{"--on", "--brightness", "0"}, "contradict"},
        {{"--rgb", "FF0000", "--kelvin", "2700"}, "contradict"},
        {{"--off", "--hsv", "1,2,3"}, "contradict"},
        {{"--on", "--bogus"}, "--bogus"},
        {{"--on=0"}, "override"},
    };
    for (const Case& one : cases) {
        EXPECT_THAT(light(4, one.options), FailsWith(2, one.error_part)) << one.options[0];
    }
    EXPECT_TRUE(bridge().requests().empty());
}

TEST_F(Usage, RefusesWordsThatARequestCannotContain) {
    const std::vector<Words> wrong = {
        {},
        {"bogus"},
        {"lights"},
        {"lights", kAddress},
        {"lights", "http://127.0.0.80", kUser},
        {"lights", "127.0.0.80:80", kUser},
        {"lights", "127.0.0.80\r\n", kUser},
        {"lights", "", kUser},
        {"lights", kAddress, "a b"},
        {"lights", kAddress, "a/b"},
        {"lights", kAddress, "a?b"},
        {"lights", kAddress, "a#b"},
        {"lights", kAddress, "a\nHost: b"},
        {"lights", kAddress, std::string(128, 'a')},
        {"lights", kAddress, kUser, "4", "5"},
        {"light", kAddress, kUser, "0"},
        {"light", kAddress, kUser, "65536"},
        {"light", kAddress, kUser, "four"},
        {"light", kAddress},
        {"pair", "127.0.0.80|x='"},
        {"forget", kAddress, "4", "--yes"},
    };
    for (const Words& words : wrong) {
        EXPECT_THAT(run(words), FailsWith(2, "")) << testing::PrintToString(words);
    }
    EXPECT_TRUE(bridge().requests().empty());
}

TEST_F(Usage, RefusesAnEmptyWordInsteadOfSkippingIt) {
    const std::string user = std::string("HUE_USERNAME=") + kUser;
    EXPECT_THAT(run({"forget", kAddress, "4", "", "--yes"}, {user}), FailsWith(2, "empty"));
    EXPECT_TRUE(bridge().requests().empty());
}

// A bridge gives a new user name only once.
TEST_F(Usage, PrintsOnStandardErrorIfStandardOutputCannotBeWritten) {
    const char* const closed_pipe =
        "exec 3> >(exit); wait $!; exec env --default-signal=PIPE \"$@\" >&3";
    for (const char* const script : {"exec \"$@\" >/dev/full", closed_pipe}) {
        const auto result = simulator::ChildProcess::run(
            "/bin/bash", {"-c", script, "bash", HUECTL_PATH, "lights", kAddress, kUser}, {},
            kLimit);
        EXPECT_EQ(result.exit_code(), 1) << script;
        EXPECT_THAT(result.errors, testing::HasSubstr(lights().output));
        EXPECT_THAT(result.errors, testing::EndsWith("the result is on standard error\n"));
    }
}

TEST_F(Usage, PrintsHelpOnStandardOutput) {
    EXPECT_THAT(run({"--version"}).output, testing::StartsWith("huectl "));
    for (const char* command : {"discover", "pair", "lights", "light", "forget"}) {
        const Result help = run({command, "--help"});
        EXPECT_THAT(help, Succeeds());
        EXPECT_THAT(help.output, testing::HasSubstr(std::string("Usage: huectl ") + command));
    }
}

}  // namespace
