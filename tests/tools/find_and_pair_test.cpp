#include <csignal>
#include <string>

#include "HuectlTest.h"
#include "Terminal.h"

namespace {

using simulator::ChildProcess;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class FindAndPair : public HuectlTest {
  protected:
    /// Runs "huectl WORDS..." on the terminal.
    std::unique_ptr<ChildProcess> start(const Words& words) {
        ChildProcess::Setup setup;
        setup.path = "/bin/sh";
        setup.arguments = terminal.words_for(HUECTL_PATH, words);
        setup.environment = {"TERM=linux"};
        return std::make_unique<ChildProcess>(setup);
    }

    static constexpr const char* kParameters =
        "ip_address='127\\.0\\.0\\.80'\\|username='[0-9A-Za-z-]+'\n$";

    Terminal terminal;
};

TEST_F(FindAndPair, ListsTheBridgesThatAnswer) {
    const Result result = run({"discover"});
    EXPECT_EQ(result.exit_code(), 0);
    EXPECT_EQ(result.output, "address     serial number\n127.0.0.80  0017880ae670\n");
    EXPECT_THAT(result.errors, MatchesRegex("Searching for bridges: . s left\n"))
        << "without a terminal the line is not redrawn";
}

TEST_F(FindAndPair, ListsTheBridgesDespiteADeviceThatDoesNotAnswer) {
    const char* silent = "LOCATION: http://127.0.0.99:80/\r\nSERVER: IpBridge\r\n\r\n";
    bridge().add_search_answer(silent);
    EXPECT_EQ(run({"discover"}).output, "address     serial number\n127.0.0.80  0017880ae670\n");
    bridge().set_description("no bridge");
    const Result alone = run({"discover"});
    EXPECT_EQ(alone.exit_code(), 3);
    EXPECT_THAT(alone.errors, HasSubstr("127.0.0.99 was not reached (Connection refused); search"));
}

TEST_F(FindAndPair, NamesTheRemedyForANewerBridge) {
    bridge().set_description(
        "<manufacturer>Signify</manufacturer><modelName>Philips hue bridge 2015</modelName>"
        "<serialNumber>0017880ae670</serialNumber>");
    const Result result = run({"discover", "--json"});
    EXPECT_EQ(result.exit_code(), 1);
    EXPECT_THAT(result.errors,
                HasSubstr("look up the address in the router and run huectl pair ADDRESS\n"));
    EXPECT_TRUE(simulator::parse_json(result.output));
}

TEST_F(FindAndPair, ErasesItsLineAndEndsOnCtrlC) {
    const auto search = start({"discover"});
    ASSERT_TRUE(terminal.wait_until_shown("s left"));
    search->send_signal(SIGINT);
    const auto ending = search->wait(std::chrono::seconds(2));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->text(), "signal " + std::to_string(SIGINT));
    EXPECT_EQ(terminal.lines().back(), "");
}

TEST_F(FindAndPair, PrintsTheOptionalParametersForTheDatabase) {
    bridge().press_link_button();
    const Result result = run({"pair", kAddress});
    EXPECT_EQ(result.exit_code(), 0);
    EXPECT_THAT(result.output, testing::StartsWith("Please press the link Button!"));
    EXPECT_THAT(result.output, testing::ContainsRegex(std::string("\n") + kParameters));
    const std::string user = result.output.substr(result.output.rfind("='") + 2);
    // As an argument, a name that begins with a hyphen would be an option.
    const std::string variable = "HUE_USERNAME=" + user.substr(0, user.find('\''));
    EXPECT_EQ(run({"lights", kAddress}, {variable}).exit_code(), 0);
}

TEST_F(FindAndPair, KeepsStandardOutputForOneDocument) {
    bridge().press_link_button();
    const Result result = run({"pair", kAddress, "--json"});
    EXPECT_EQ(result.exit_code(), 0);
    EXPECT_THAT(result.errors, HasSubstr("Success! Link button was pressed!\n"));
    const auto document = simulator::parse_json(result.output);
    ASSERT_TRUE(document);
    EXPECT_THAT((*document)["optional_parameters"].asString() + "\n", MatchesRegex(kParameters));
}

TEST_F(FindAndPair, ShowsTheCountdownBelowWholeLines) {
    const auto pairing = start({"pair", kAddress});
    EXPECT_TRUE(terminal.wait_until_shown("Link button not pressed!\r\n\r\033[KPress the button"));
    bridge().press_link_button();
    EXPECT_TRUE(pairing->wait(std::chrono::seconds(10)));
    const std::vector<std::string> lines = terminal.lines();
    EXPECT_EQ(lines.front(), "Please press the link Button! You've got 35 secs!");
    for (const std::string& line : lines) {
        EXPECT_THAT(line, Not(HasSubstr("s left")));
    }
    EXPECT_THAT(lines[lines.size() - 2] + "\n", MatchesRegex(kParameters));
}

TEST_F(FindAndPair, FailsWhenTheButtonIsNotPressedInTime) {
    const Result result = run({"pair", kAddress});
    EXPECT_EQ(result.exit_code(), 1);
    EXPECT_THAT(result.errors, HasSubstr("huectl: the link button was not pressed in time"));
    EXPECT_THAT(result.errors, Not(HasSubstr("\r")));
    EXPECT_THAT(result.output, testing::EndsWith("Link button not pressed!\n"));
}

TEST_F(FindAndPair, RefusesAUserNameThatCannotBeStored) {
    for (const char* name : {"a'b", "a\\\"b", "a|b", "a b", "a/b", "\\u001b[2J\\n"}) {
        send_body(std::string(R"([{"success": {"username": ")") + name + "\"}}]");
        const Result result = run({"pair", kAddress});
        EXPECT_EQ(result.exit_code(), 1) << name;
        EXPECT_THAT(result.errors, HasSubstr("huectl: the bridge gave a user name")) << name;
        EXPECT_THAT(result.output, Not(HasSubstr("ip_address"))) << name;
        EXPECT_EQ(result.output.find('\033'), std::string::npos);
    }
    bridge().inject_fault("cut");
    EXPECT_EQ(run({"pair", kAddress}).exit_code(), 3);
}

TEST_F(FindAndPair, AsksOnTheTerminalBeforeItRemovesALight) {
    for (const auto& [answer, exit_code] : {std::pair("n\n", 1), std::pair("y\n", 0)}) {
        const auto forgetting = start({"forget", kAddress, kUser, "4"});
        EXPECT_TRUE(
            terminal.wait_until_shown("Remove light 4 \"Living room\" from the bridge? [y/N]"));
        terminal.type(answer);
        const auto ending = forgetting->wait(std::chrono::seconds(10));
        EXPECT_TRUE(ending && ending->code == exit_code) << answer;
    }
    EXPECT_THAT(bridge().light_ids(), Not(testing::Contains(4)));
}

}  // namespace
