// What huectl does on a terminal and while it waits.
#include <csignal>
#include <string>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include "HuectlTest.h"
#include "libcbase/Cstylecode.h"
#include "simulator/bridge/SsdpResponder.h"
#include "simulator/journal/Journal.h"

namespace {
using simulator::ChildProcess;
using std::chrono::seconds;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* kBridges = "address     serial number\n127.0.0.80  0017880ae670\n";
constexpr const char* kParameters = "ip_address='127\\.0\\.0\\.80'\\|username='[0-9A-Za-z-]+'";

class FindAndPair : public HuectlTest {};

TEST_F(FindAndPair, ListsTheBridgesDespiteADeviceThatDoesNotAnswer) {
    const char* silent = "LOCATION: http://127.0.0.99:80/\r\nSERVER: IpBridge\r\n\r\n";
    const simulator::SsdpResponder device({{seconds(4), silent}});  // near the end
    const Result found = run("huectl discover");
    EXPECT_EQ(found.output, kBridges);
    EXPECT_THAT(found.errors, MatchesRegex("Searching for bridges: . s left\n"))
        << "without a terminal the line is not redrawn";
    bridge->send_answer("200 OK", "text/xml", "no bridge");
    const Result alone = run("huectl discover");
    EXPECT_THAT(alone, FailsWith(3));
    EXPECT_THAT(alone.errors, HasSubstr("127.0.0.99 was not reached (Connection refused); search"));
}

TEST_F(FindAndPair, KeepsStandardOutputForOneDocument) {
    bridge->press_link_button();
    const Result result = run("huectl pair $bridge --json");
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.errors, HasSubstr("Success! Link button was pressed!\n"));
    const auto document = simulator::parse_json(result.output);
    ASSERT_TRUE(document);
    EXPECT_THAT((*document)["optional_parameters"].asString(), MatchesRegex(kParameters));
    // As an argument, a name that begins with a hyphen would be an option.
    const std::string user = (*document)["username"].asString();
    EXPECT_THAT(run("HUE_USERNAME='" + user + "' huectl lights $bridge"), Succeeds());
}

TEST_F(FindAndPair, PrintsTheParameterForLightsOfUnknownModels) {
    restart_with_unknown_model();
    bridge->press_link_button();
    EXPECT_THAT(run("huectl pair $bridge").output,
                ContainsRegex("bridge object:\n" + std::string(kParameters) +
                              "\nSome lights are of unknown models; [^\n]+:\n" + kParameters +
                              "\\|unknown_models='by_type'\n$"));
}

TEST_F(FindAndPair, FailsWhenTheButtonIsNotPressedInTime) {
    const Result result = run("huectl pair $bridge");
    EXPECT_THAT(result, FailsWith(1));
    EXPECT_THAT(result.errors, HasSubstr("huectl: the link button was not pressed in time"));
    EXPECT_THAT(result.output, testing::EndsWith("Link button not pressed!\n"));
}

class OnATerminal : public HuectlTest {
  protected:
    OnATerminal() : master_(posix_openpt(kFlags)) {
        unlockpt(master_.get());
        path_ = ptsname(master_.get());
        slave_.reset(open(path_.c_str(), kFlags));
    }

    std::unique_ptr<ChildProcess> start(const std::string& command) const {
        ChildProcess::Setup setup;
        setup.path = "/bin/bash";
        setup.arguments = shell("exec <" + path_ + " >" + path_ + " 2>&1; " + command);
        setup.environment = {"TERM=linux"};
        return std::make_unique<ChildProcess>(setup);
    }
    void type(const std::string& keys) const {
        ASSERT_EQ(write(master_.get(), keys.data(), keys.size()),
                  static_cast<ssize_t>(keys.size()));
    }
    /// Everything that the terminal has received.
    const std::string& received() {
        char chunk[512];
        for (ssize_t count = 0; (count = read(master_.get(), chunk, sizeof chunk)) > 0;) {
            received_.append(chunk, static_cast<std::size_t>(count));
        }
        return received_;
    }
    bool wait_until_received(const std::string& part) {
        return simulator::Journal().wait_until(
            [&] { return received().find(part) != std::string::npos; }, seconds(20));
    }
    /// What has not been erased.
    std::string screen() {
        static const std::string kErase = "\r\033[K";
        std::string text = received();
        for (std::size_t end = 0; (end = text.find(kErase)) != std::string::npos;) {
            const std::size_t start = text.rfind('\n', end) + 1;  // 0 in the first line
            text.erase(start, end + kErase.size() - start);
        }
        return text;
    }

  private:
    static constexpr int kFlags = O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK;

    FileDescriptor master_;
    FileDescriptor slave_;  // while it is open, what a program wrote before its end can be read
    std::string path_;
    std::string received_;
};

TEST_F(OnATerminal, ErasesItsLineAndEndsOnCtrlC) {
    const auto search = start("huectl discover");
    ASSERT_TRUE(wait_until_received("s left"));
    kill(-search->pid(), SIGINT);  // the terminal sends it to the shell too
    EXPECT_EQ(search->wait(seconds(2)), -SIGINT);
    EXPECT_EQ(screen(), "");
}

TEST_F(OnATerminal, ShowsTheCountdownBelowWholeLines) {
    const auto pairing = start("huectl pair $bridge");
    EXPECT_TRUE(wait_until_received("Link button not pressed!\r\n\r\033[KPress the button"));
    bridge->press_link_button();
    EXPECT_TRUE(pairing->wait(seconds(10)));
    EXPECT_THAT(screen(), MatchesRegex("Please press the link Button! You've got 35 secs!\r\n"
                                       "(Link button not pressed!\r\n)+"
                                       "Success! Link button was pressed!\r\n"
                                       "Username is [^\r]+\r\n"
                                       "User name: [^\r]+\r\n"
                                       "Optional parameters of the bridge object:\r\n" +
                                       std::string(kParameters) + "\r\n"));
}

TEST_F(OnATerminal, AsksBeforeItRemovesALight) {
    for (const auto& [answer, exit_code] : {std::pair("n\n", 1), std::pair("y\n", 0)}) {
        const auto forgetting = start("huectl forget $bridge installer 4");
        EXPECT_TRUE(wait_until_received("Remove light 4 \"Living room\" from the bridge? [y/N]"));
        type(answer);
        EXPECT_EQ(forgetting->wait(seconds(10)), exit_code) << answer;
    }
    EXPECT_EQ(changes(), "DELETE 4 {}");
}

}  // namespace
