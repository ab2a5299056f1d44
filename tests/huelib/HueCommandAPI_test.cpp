#include "huelib/HueCommandAPI.h"

#include <algorithm>
#include <cerrno>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/ScriptedHttpHandler.h"

using namespace std::chrono_literals;

namespace {

class HueCommandAPITest : public testing::Test {
  protected:
    void puts(const std::string& path = "/lights") { sender_.PUTRequest(path, Json::Value()); }
    std::vector<std::chrono::steady_clock::time_point> starts() const {
        std::vector<std::chrono::steady_clock::time_point> found;
        for (const auto& request : bridge_->requests()) {
            found.push_back(request.started);
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    /// Between the starts of each request and the one before.
    std::vector<std::chrono::nanoseconds> gaps() const {
        const auto all = starts();
        std::vector<std::chrono::nanoseconds> found;
        for (std::size_t i = 1; i < all.size(); ++i) {
            found.push_back(all[i] - all[i - 1]);
        }
        return found;
    }

    std::shared_ptr<ScriptedHttpHandler> bridge_ = std::make_shared<ScriptedHttpHandler>();
    HueCommandAPI sender_{"10.0.0.1", ScriptedHttpHandler::kUser, bridge_};
};

}  // namespace

TEST_F(HueCommandAPITest, PutsThePathBehindTheUser) {
    Json::Value body;
    body["on"] = true;
    sender_.PUTRequest("lights/3/state", body);
    sender_.GETRequest("/lights/3/state", body);
    sender_.DELETERequest("", body);
    const char* const expected[][2] = {{"PUT", "/api/test-user/lights/3/state"},
                                       {"GET", "/api/test-user/lights/3/state"},
                                       {"DELETE", "/api/test-user"}};
    const auto requests = bridge_->requests();
    ASSERT_EQ(requests.size(), 3U);
    for (std::size_t i = 0; i < requests.size(); ++i) {
        EXPECT_EQ(requests[i].method, expected[i][0]);
        EXPECT_EQ(requests[i].uri, expected[i][1]);
        EXPECT_EQ(requests[i].body, R"({"on":true})");
        EXPECT_EQ(requests[i].adr, "10.0.0.1");
        EXPECT_EQ(requests[i].port, 80);
    }
}

TEST_F(HueCommandAPITest, StartsNoTwoRequestsWithinTheDelayWhoeverSends) {
    const auto before = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([copy = sender_] {
            copy.GETRequest("", Json::Value());
            copy.PUTRequest("", Json::Value());
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    // Counted from before the first: a thread that is held up between the sender's clock and the
    // recorder's makes one gap look shorter, but no request can be ahead of the whole row.
    const auto all = starts();
    ASSERT_EQ(all.size(), 6U);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_GE(all[i] - before, i * HueCommandAPI::minDelay);
    }
}

TEST_F(HueCommandAPITest, DoesNotWaitAfterARequestThatTookLong) {
    bridge_->takes(300ms);
    for (int i = 0; i < 4; ++i) {
        puts();
    }
    const auto found = gaps();
    EXPECT_LT(*std::min_element(found.begin(), found.end()), 400ms);
}

TEST_F(HueCommandAPITest, RetriesOnceAfterAResetOrATimeOut) {
    for (const int code : {ECONNRESET, ETIMEDOUT}) {
        bridge_->commands();
        bridge_->fails("PUT", code);
        bridge_->answers("PUT", "[7]");
        EXPECT_EQ(sender_.PUTRequest("", Json::Value())[0], Json::Value(7));
        puts();
        ASSERT_EQ(gaps().size(), 2U);
        EXPECT_GE(gaps()[0], 100ms);
        EXPECT_GE(gaps()[1], 100ms);
    }
}

TEST_F(HueCommandAPITest, GivesUpAfterASecondFailure) {
    bridge_->fails("PUT", ETIMEDOUT);
    bridge_->fails("PUT", ECONNRESET);
    EXPECT_THROW(puts(), std::system_error);
    EXPECT_EQ(bridge_->requests().size(), 2U);
}

TEST_F(HueCommandAPITest, OtherFailuresEndTheRequestAndHoldUpNobody) {
    const auto shortest_gap = [this] {
        const auto found = gaps();
        bridge_->commands();
        return *std::min_element(found.begin(), found.end());
    };
    for (const int code : {ECONNREFUSED, EAGAIN, EPIPE, 0}) {
        bridge_->fails("PUT", code);
        EXPECT_THROW(puts(), std::system_error);
    }
    EXPECT_EQ(bridge_->requests().size(), 4U);
    EXPECT_LT(shortest_gap(), 100ms);  // the deadline stays
    for (int i = 0; i < 3; ++i) {
        bridge_->breaks("PUT");
        EXPECT_THROW(puts(), std::runtime_error);
    }
    puts();
    EXPECT_EQ(bridge_->requests().size(), 4U);
    EXPECT_LT(shortest_gap(), 100ms);
}
