// Pairing in real time: one attempt a second, for 35 seconds if the link button is not pressed.
#include <gmock/gmock.h>

#include "huelib/HueFinder.h"
#include "tests/support/ScriptedHttpHandler.h"
#include "tests/support/Vectors.h"

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

const std::string kNotPressed = R"([{"error": {"type": 101, "address": "",
                                    "description": "link button not pressed"}}])";
const std::string kPressed = R"([{"success": {"username": "fresh-user"}}])";
const std::string kAskText = "Please press the link Button! You've got 35 secs!\n";
const std::string kNotPressedText = "Link button not pressed!\n";
const std::string kSuccessText = "Success! Link button was pressed!\nUsername is \"fresh-user\"\n";

class Pairing : public testing::Test {
  protected:
    void add_answers(int count) {
        for (int i = 0; i < count; ++i) {
            handler_->add_answer("POST", kNotPressed);
        }
    }
    /// Pairs and returns what the user is informed of and the new user name.
    std::string pair() {
        start_ = steady_clock::now();
        std::string reported;
        const std::string name = bridge_.requestUsername(
            "10.0.0.2", [&](const std::string& line) { reported += line + "\n"; });
        return reported + name;
    }

    std::shared_ptr<ScriptedHttpHandler> handler_ = std::make_shared<ScriptedHttpHandler>();
    Hue bridge_{"10.0.0.1", "", handler_};
    steady_clock::time_point start_;
};

}  // namespace

TEST_F(Pairing, ReturnsTheNameOfTheFirstAttemptAfterTheButtonIsPressed) {
    add_answers(1);
    handler_->add_answer("POST", kPressed);
    testing::internal::CaptureStdout();
    EXPECT_EQ(pair(), kAskText + kNotPressedText + kSuccessText + "fresh-user");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    const auto asked = handler_->requests();
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[1].method + " " + asked[1].uri + " " + asked[1].body + " " + asked[1].adr,
              R"(POST /api {"devicetype":"Lumakit#User"} 10.0.0.2)");
    EXPECT_GT(asked[1].started - start_, seconds(2));

    bridge_.refreshState();  // from now on as the new user, at the new address
    EXPECT_EQ(handler_->requests().back().uri, "/api/fresh-user");
    EXPECT_EQ(handler_->requests().back().adr, "10.0.0.2");
    EXPECT_EQ(bridge_.getBridgeIP() + " " + bridge_.getUsername(), "10.0.0.2 fresh-user");
}

TEST_F(Pairing, ContinuesAfterInvalidAnswersAndPrintsWithoutACaller) {
    std::size_t count = 0;
    for_each_vector("huelib/answers.txt", "not paired", 2, [&](const auto& cells) {
        handler_->add_answer("POST", cells[0]);
        ++count;
    });
    add_answers(1);
    handler_->add_answer("POST", kPressed);
    testing::internal::CaptureStdout();
    EXPECT_EQ(bridge_.requestUsername("10.0.0.2"), "fresh-user");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kAskText + kNotPressedText + kSuccessText);
    EXPECT_EQ(handler_->requests().size(), count + 2);
}

TEST_F(Pairing, AsksOnceASecondAndStopsAfter35Seconds) {
    add_answers(50);
    HueFinder finder(handler_);
    testing::internal::CaptureStdout();
    const auto start = steady_clock::now();
    EXPECT_THAT(
        [&] {
            finder.GetBridge({"10.0.0.2", "aa"});
        },
        testing::ThrowsMessage<std::runtime_error>("Failed to request username!"));
    const auto duration = steady_clock::now() - start;
    testing::internal::GetCapturedStdout();
    EXPECT_GE(duration, seconds(35));
    EXPECT_LT(duration, seconds(37));
    const std::size_t attempts = handler_->requests().size();
    EXPECT_TRUE(attempts >= 30 && attempts <= 34) << attempts;
    EXPECT_TRUE(finder.GetAllUsernames().empty());
}
