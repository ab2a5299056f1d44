#include <chrono>
#include <string>
#include <vector>

#include "HouseTest.h"
#include "libcbase/Cstylecode.h"

namespace {

using simulator::ChildProcess;

class StartUp : public HouseTest {
  protected:
    using Arguments = std::vector<std::string>;

    /// Expects that the daemon prints only this line and ends with this exit code.
    void expect_end(const Arguments& arguments, const std::string& line, int exit_code) {
        ChildProcess daemon({LUMIVAD_PATH, arguments});
        EXPECT_EQ(daemon.read_line(std::chrono::seconds(30)), line);
        const auto ending = daemon.wait(kLimit);
        ASSERT_TRUE(ending);
        EXPECT_EQ(ending->text(), "exit code " + std::to_string(exit_code));
        EXPECT_EQ(daemon.read_line(kLimit), std::nullopt);
    }
    void expect_failure(const Arguments& arguments, const std::vector<std::string>& log_lines) {
        expect_end(arguments, "-1,-1", 1);
        for (const std::string& line : log_lines) {
            EXPECT_TRUE(wait_for_log(line)) << line;
        }
    }
    /// Expects start status 0, then -1, then the end.
    static void expect_status_withdrawn(ChildProcess& daemon) {
        for (const int expected : {0, -1}) {
            const auto status = daemon.start_status(kLimit);
            ASSERT_TRUE(status);
            EXPECT_EQ(status->status, expected);
        }
        const auto ending = daemon.wait(kLimit);
        ASSERT_TRUE(ending);
        EXPECT_EQ(ending->text(), "exit code 1");
    }
    void set_optional_parameters(const std::string& text) {
        house.database().rows("UPDATE vexad_object SET optionalp = \"" + text +
                              "\" WHERE id = 100");
    }

    const Arguments kGood{"--id", "100"};
    const std::string kNoParameters = "Impossible to get required OPTIONALP needed by the runner";
};

TEST_F(StartUp, PrintsTheVersionForASingleArgumentAndTouchesNothing) {
    for (const char* argument : {"-v", "-vx", "--version", "--versions"}) {
        SCOPED_TRACE(argument);
        expect_end({argument}, "v" LUMIVAD_VERSION, 0);
    }
    EXPECT_TRUE(house.log()->lines().empty());
    EXPECT_EQ(house.database().connections(), 0);
}

TEST_F(StartUp, PrintsItsPortOnceAndIgnoresVersionAmongOtherArguments) {
    ChildProcess daemon({LUMIVAD_PATH, {"-v", "--id", "100"}});
    const auto status = daemon.start_status(kLimit);
    ASSERT_TRUE(status);
    EXPECT_EQ(status->status, 0);
    house.core().set_daemon_port(status->port);
    EXPECT_EQ(house.core().run_object(141, "0"), 0);
    EXPECT_EQ(daemon.stop().text(), "exit code 0");
    EXPECT_EQ(daemon.read_line(kLimit), std::nullopt);
}

TEST_F(StartUp, LogsABadRequestWithItsControlCharactersEscaped) {
    ChildProcess daemon({LUMIVAD_PATH, kGood});
    const auto status = daemon.start_status(kLimit);
    ASSERT_TRUE(status);
    const FileDescriptor peer(make_internettcpclient_socket("127.0.0.1", status->port));
    ASSERT_TRUE(
        send_until(peer.get(), "Length\x1b[2K\n", std::chrono::steady_clock::now() + kLimit));
    EXPECT_TRUE(
        wait_for_log("ERROR gateway handler run() exit with error: GtwHandler::run length"));
    EXPECT_EQ(house.log()->count("'Length\\x1b[2K'"), 2U);
    EXPECT_EQ(daemon.stop().text(), "exit code 0");
}

TEST_F(StartUp, RefusesAnInvalidObjectId) {
    for (const Arguments& arguments : {Arguments{"--id", "0"},
                                       {"--id", "-3"},
                                       {"--id", "abc"},
                                       {"--id"},
                                       {"x", "y"},
                                       {},
                                       // One too high; 100 in the lower 32 bits; beyond 64 bits.
                                       {"--id", "2147483648"},
                                       {"--id", "4294967396"},
                                       {"--id", "99999999999999999999"}}) {
        house.log()->clear();
        expect_failure(arguments, {"Not found or invalid object ID passed to the runner."});
    }
    EXPECT_EQ(house.database().connections(), 0);
}

TEST_F(StartUp, RefusesOptionalParametersWithoutAddressOrUser) {
    const auto expect_refusal = [this](const std::string& missing) {
        house.log()->clear();
        expect_failure(kGood, {"ERR -2: Wrong format for vexad_object (optionalp key: " + missing,
                               kNoParameters});
    };
    for (const char* parameters :
         {"ip_address='127.0.0.80'", "ip_address='127.0.0.80'|username=", ""}) {
        set_optional_parameters(parameters);
        expect_refusal("username");
    }
    set_optional_parameters("ip_address=5|username='someone'");
    expect_refusal("ip_address");
    house.database().hide_column("OPTIONALP");
    expect_refusal("username");
}

TEST_F(StartUp, EndsWithin30SecondsWhenTheDatabaseIsSilent) {
    house.database().inject_fault(simulator::DatabaseService::Fault::silent);
    expect_failure(kGood, {"error calling dbmanager_socket_request <311>", kNoParameters});
}

TEST_F(StartUp, WithdrawsItsStatusWhenTheLightTableCannotBeRead) {
    house.database().rows("DROP TABLE vexad_object_relation");
    ChildProcess daemon({LUMIVAD_PATH, kGood});
    expect_status_withdrawn(daemon);
    EXPECT_TRUE(wait_for_log("Impossible to get initize data structures needed by the runner -2"));
}

TEST_F(StartUp, WithdrawsItsStatusWhenAThreadCannotBeStarted) {
    if (sizeof(void*) < 8 || !std::string(LUMIVAD_SANITIZE).empty()) {
        GTEST_SKIP() << "needs 64 bits, where the limit of a stack can exceed the memory, and no "
                        "sanitizer, which would not start with it";
    }
    ChildProcess daemon(
        {"/bin/sh",
         {"-c", "ulimit -s 100000000000; exec \"$@\"", "sh", LUMIVAD_PATH, "--id", "100"}});
    expect_status_withdrawn(daemon);
    EXPECT_TRUE(wait_for_log("ERR -3: Resource temporarily unavailable"));
}

TEST_F(StartUp, RunsWithoutLightsForAnObjectThatDoesNotExist) {
    for (const char* id : {"999", "2147483647"}) {  // the latter is the highest
        SCOPED_TRACE(id);
        house.log()->clear();
        ChildProcess daemon({LUMIVAD_PATH, {"--id", id}});
        const auto status = daemon.start_status(kLimit);
        ASSERT_TRUE(status);
        EXPECT_EQ(status->status, 0);
        EXPECT_TRUE(wait_for_log("HueHandler->init_light_states - end of initial state updates"));
        EXPECT_EQ(daemon.stop().text(), "exit code 0");
    }
    EXPECT_EQ(house.bridge().gate().connections(), 0);
}

}  // namespace
