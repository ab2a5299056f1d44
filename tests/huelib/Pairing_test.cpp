// Pairing in real time: one attempt a second, for 35 seconds if the link button is not pressed.
#include <system_error>

#include <gtest/gtest.h>

#include "huelib/HueFinder.h"
#include "tests/support/ScriptedHttpHandler.h"

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

const std::string kNotPressed = R"([{"error": {"type": 101, "address": "",
                                    "description": "link button not pressed"}}])";
const std::string kPressed = R"([{"success": {"username": "fresh-user"}}])";
const std::string kAskText = "Please press the link Button! You've got 35 secs!\n";
const std::string kNotPressedText = "Link button not pressed!\n";

struct Pairing {
    /// Pairs and returns the new user name.
    std::string pair() {
        start = steady_clock::now();
        testing::internal::CaptureStdout();
        std::string name = bridge.requestUsername("10.0.0.2");
        printed = testing::internal::GetCapturedStdout();
        return name;
    }

    std::shared_ptr<ScriptedHttpHandler> handler = std::make_shared<ScriptedHttpHandler>();
    Hue bridge{"10.0.0.1", "", handler};
    std::string printed;
    steady_clock::time_point start;
};

}  // namespace

TEST(Pairing, ReturnsTheNameOfTheFirstAttemptAfterTheButtonIsPressed) {
    Pairing pairing;
    pairing.handler->add_answer("POST", kNotPressed);
    pairing.handler->add_answer("POST", kPressed);
    EXPECT_EQ(pairing.pair(), "fresh-user");
    EXPECT_EQ(pairing.printed, kAskText + kNotPressedText + "Success! Link button was pressed!\n" +
                                   "Username is \"fresh-user\"\n");

    const auto asked = pairing.handler->requests();
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[1].method + " " + asked[1].uri + " " + asked[1].body + " " + asked[1].adr,
              R"(POST /api {"devicetype":"Lumakit#User"} 10.0.0.2)");
    EXPECT_GT(asked[1].started - pairing.start, seconds(2));

    pairing.bridge.refreshState();  // from now on as the new user, at the new address
    EXPECT_EQ(pairing.handler->requests().back().uri, "/api/fresh-user");
    EXPECT_EQ(pairing.handler->requests().back().adr, "10.0.0.2");
    EXPECT_EQ(pairing.bridge.getBridgeIP() + " " + pairing.bridge.getUsername(),
              "10.0.0.2 fresh-user");
}

TEST(Pairing, ReportsToTheCallerInsteadOfStandardOutput) {
    Pairing pairing;
    pairing.handler->add_answer("POST", kNotPressed);
    pairing.handler->add_answer("POST", kPressed);
    std::string reported;
    testing::internal::CaptureStdout();
    const std::string name = pairing.bridge.requestUsername(
        "10.0.0.2", [&](const std::string& line) { reported += line + "\n"; });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(name, "fresh-user");
    EXPECT_EQ(reported, kAskText + kNotPressedText + "Success! Link button was pressed!\n" +
                            "Username is \"fresh-user\"\n");
}

TEST(Pairing, ContinuesAfterInvalidAnswers) {
    Pairing pairing;
    const std::string odd[] = {"null",
                               "{}",
                               "[]",
                               R"([{"success": null}])",
                               R"([{"success": ["username"]}])",
                               R"([{"error": {"type": 7}}])"};
    for (const std::string& answer : odd) {
        pairing.handler->add_answer("POST", answer);
    }
    pairing.handler->add_answer("POST", kPressed);
    EXPECT_EQ(pairing.pair(), "fresh-user");
    EXPECT_EQ(pairing.handler->requests().size(), std::size(odd) + 1);
    EXPECT_EQ(pairing.printed.find(kNotPressedText), kAskText.size());  // only for the error
    EXPECT_EQ(pairing.printed.find("Success"), kAskText.size() + kNotPressedText.size());
}

TEST(Pairing, EndsWhenTheConnectionFails) {
    Pairing pairing;
    pairing.handler->add_answer("POST", kNotPressed);
    pairing.handler->add_failure("POST",
                                 std::system_error(ECONNRESET, std::generic_category(), "reset"));
    EXPECT_THROW(pairing.pair(), std::system_error);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(pairing.bridge.getUsername(), "");
}

TEST(Pairing, AsksOnceASecondAndStopsAfter35Seconds) {
    Pairing pairing;
    for (int i = 0; i < 50; ++i) {
        pairing.handler->add_answer("POST", kNotPressed);
    }
    HueFinder finder(pairing.handler);
    testing::internal::CaptureStdout();
    const auto start = steady_clock::now();
    try {
        finder.GetBridge({"10.0.0.2", "aa"});
        ADD_FAILURE() << "paired";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "Failed to request username!");
    }
    const auto duration = steady_clock::now() - start;
    testing::internal::GetCapturedStdout();
    EXPECT_GE(duration, seconds(35));
    EXPECT_LT(duration, seconds(37));

    const auto asked = pairing.handler->requests();
    EXPECT_LE(asked.size(), 34U);
    EXPECT_GE(asked.size(), 30U);
    // Measured from the start: on a busy machine the fake can see one attempt late.
    for (std::size_t i = 0; i < asked.size(); ++i) {
        EXPECT_GT(asked[i].started - start, seconds(i + 1));
    }
    EXPECT_LT(asked.back().started - start, seconds(35));
    EXPECT_TRUE(finder.GetAllUsernames().empty());
}
