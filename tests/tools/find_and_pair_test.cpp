// What huectl does on a terminal and while it waits.
#include <csignal>
#include <string>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include "HuectlTest.h"
#include "huelib/BridgeSearch.h"
#include "libcbase/Cstylecode.h"
#include "simulator/bridge/SearchAnswers.h"
#include "simulator/journal/Journal.h"

namespace {
using simulator::ChildProcess;
using std::chrono::seconds;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* kNewBridge =
    "127.0.0.80  001788FFFE0AE670  Philips hue  BSB002  1967054020  SSDP, mDNS\n";
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr seconds kStart{5};
#else
constexpr seconds kStart{1};
#endif
constexpr const char* kParameters = "ip_address='127\\.0\\.0\\.80'\\|username='[0-9A-Za-z-]+'";

class FindAndPair : public HuectlTest {};

TEST_F(FindAndPair, ListsTheBridgesOfEachMakeAndSilentDevicesOnlyIfAsked) {
    const auto silent = [](const std::string&) -> simulator::MulticastResponder::Answers {
        const char* answer = "LOCATION: http://127.0.0.99:80/\r\nSERVER: IpBridge\r\n\r\n";
        return {{std::chrono::milliseconds(100), answer}};
    };
    const simulator::MulticastResponder device(simulator::kSsdpGroup, simulator::kSsdpPort,
                                               "127.0.0.99", silent);
    const std::pair<const char*, const char*> makes[] = {
        {"old", "127.0.0.80  001788FFFE0AE670  Philips hue (127.0.0.80)  BSB001  -         SSDP\n"},
        {"new", kNewBridge},
        {"hostile", kNewBridge}};
    for (const auto& [make, row] : makes) {
        bridge->pose_as(make);
        const auto start = std::chrono::steady_clock::now();
        const Result found = run("huectl discover");
        EXPECT_LT(std::chrono::steady_clock::now() - start, BridgeSearch::kLimit + kStart);
        EXPECT_EQ(found.output.substr(found.output.find('\n') + 1), row) << make;
        EXPECT_THAT(found.errors, MatchesRegex("Searching for bridges: . s left\n"))
            << "without a terminal the line is not redrawn";
    }
    bridge->pose_as("mdns-only");
    const auto document = simulator::parse_json(run("huectl discover --verbose --json").output);
    ASSERT_TRUE(document);
    EXPECT_EQ(
        simulator::compact_json(*document),
        R"({"bridges":[{"address":"127.0.0.80","also_at":[],"answers":true,"api":"1.67.0",)"
        R"("found_by":["mDNS"],"id":"001788FFFE0AE670","model":"BSB002","name":"Philips hue","software":"1967054020"},)"
        R"({"address":"127.0.0.99","also_at":[],"answers":false,"api":"","found_by":["SSDP"],"id":"","model":"",)"
        R"("name":"","software":""}]})");
    bridge.reset();
    EXPECT_THAT(run("huectl discover"),
                Ended(1,
                      "huectl: no bridge answers; devices that only announce themselves: 1; add "
                      "--verbose to list them\n"));
    EXPECT_THAT(run("huectl discover --verbose"), Ended(1, ""));
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

// A bridge gives a new user name only once.
TEST_F(FindAndPair, PrintsTheUserNameIfTheLightsCannotBeRead) {
    Json::Value lights;
    lights["1"]["name"] = std::string(std::size_t{3} << 20, 'x');  // more than a bridge sends
    bridge.reset();
    bridge = std::make_unique<simulator::Bridge>(simulator::Bridge::Setup{"installer", lights});
    bridge->press_link_button();
    EXPECT_THAT(run("huectl pair $bridge").output,
                ContainsRegex("bridge object:\n" + std::string(kParameters) + "\n$"));
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
