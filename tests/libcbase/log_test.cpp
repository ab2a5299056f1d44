#include "libcbase/log.h"

#include <cerrno>
#include <chrono>
#include <future>
#include <string>

#include <unistd.h>

#include "tests/support/SystemLogTest.h"

namespace {

using LogTest = SystemLogTest;

TEST_F(LogTest, GivesEachFunctionItsPriority) {
    openlogfile();
    const struct {
        void (*log)(const char*, ...);
        int priority;
    } cases[] = {{error, 3},       {warning, 4}, {info, 6},         {verbose_info, 6},
                 {logged_info, 6}, {debug, 7},   {verbose_debug, 7}};
    int number = 0;
    for (const auto& c : cases) {
        const std::string text = "line " + std::to_string(++number);
        errno = ENOENT;
        c.log("%s of %d", text.c_str(), 7);
        EXPECT_EQ(errno, ENOENT);
        ASSERT_TRUE(logged(text));
        const auto line = log_.lines().back();
        EXPECT_EQ(line.text, text + " of 7");
        EXPECT_EQ(line.priority, c.priority) << text;
        EXPECT_EQ(line.facility, 16);
        EXPECT_EQ(line.pid, getpid());
    }
    byteinfo("nothing %d", 1);
    EXPECT_TRUE(never_logged("nothing"));
    closelogfile();
}

TEST_F(LogTest, CutsALineAt1023CharactersAndReadsItsTextOnce) {
    error("start %s", std::string(2000, 'x').c_str());
    error("%s", "100% of %s and %n");
    ASSERT_TRUE(logged("100%"));
    EXPECT_EQ(log_.lines().front().text, "start " + std::string(1017, 'x'));
    EXPECT_EQ(log_.lines().back().text, "100% of %s and %n");
}

TEST_F(LogTest, AFullLogNeverBlocksAndItsLostLinesAreCounted) {
    log_.inject_fault("full");
    const auto start = std::chrono::steady_clock::now();
    std::size_t written = 0;
    for (; written < 100; ++written) {
        error("one of many");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    log_.recover();
    do {
        error("one once more");
    } while (++written < 300 && !log_.wait_for("once more", std::chrono::milliseconds(50)));
    log_.sync();  // the line that arrived may be the one before the last
    std::size_t lost = 0;
    for (const auto& line : log_.lines()) {
        lost += line.text.find("lines lost") != std::string::npos ? std::stoul(line.text) : 0;
    }
    EXPECT_GT(lost, 0U);
    EXPECT_EQ(log_.count("one ") + lost, written);
}

TEST(SignalLog, ReachesALogThatWasRestarted) {
    prepare_signal_log();
    prepare_signal_log();
    error_from_signal_handler("no log runs", 11);
    for (int start = 0; start < 2; ++start) {
        const TestLog log;
        error("an ordinary line");
        errno = ENOENT;
        error_from_signal_handler("signal text, not all", 11);
        EXPECT_EQ(errno, ENOENT);
        ASSERT_TRUE(log.wait_for("signal text"));
        const auto lines = log.lines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[1].text, "signal text");
        EXPECT_EQ(lines[1].priority, 3);
        EXPECT_EQ(lines[1].facility, 16);
        EXPECT_EQ(lines[1].ident, lines[0].ident);
        EXPECT_EQ(lines[1].pid, getpid());
    }
}

// The daemon's last line, while other programs have filled the log's queue.
TEST_F(LogTest, ASignalHandlersLineWaitsForRoomUpToItsTimeout) {
    prepare_signal_log();
    log_.inject_fault("full");
    for (int i = 0; i < 2000; ++i) {
        error_from_signal_handler("many", 4);
    }
    error_from_signal_handler("lost", 4, 20);
    auto last_line =
        std::async(std::launch::async, [] { error_from_signal_handler("last line", 9, 10000); });
    EXPECT_EQ(last_line.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    log_.recover();
    EXPECT_TRUE(logged("last line"));
    EXPECT_EQ(log_.count("lost"), 0U);
}

TEST(EscapeControlCharacters, ATextFromOutsideCannotForgeALine) {
    EXPECT_EQ(escape_control_characters("Lamp\n<3>lumivad: forged"), "Lamp\\x0a<3>lumivad: forged");
    EXPECT_EQ(escape_control_characters("\x1b[2J\x1f\x7f"), "\\x1b[2J\\x1f\\x7f");
    EXPECT_EQ(escape_control_characters(std::string("a\0b", 3)), "a\\x00b");
    // C1 in UTF-8, at both ends of its range; the characters next to it stay.
    EXPECT_EQ(escape_control_characters("\xc2\x80|\xc2\x9f"), "\\xc2\\x80|\\xc2\\x9f");
    for (const char* kept : {"", " ~ \"Lámpara\" 灯 \\", "\xc2\xa0", "\xc3\x85", "cut \xc2"}) {
        EXPECT_EQ(escape_control_characters(kept), kept);
    }
}

}  // namespace
