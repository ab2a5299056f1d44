#include "huelib/HueCommandAPI.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/ScriptedHttpHandler.h"

using namespace std::chrono_literals;

namespace {

class HueCommandAPITest : public testing::Test {
  protected:
    void put() { sender_.PUTRequest("lights", Json::Value()); }
    void fail_next_put(int code) {
        bridge_->add("PUT", [code]() -> std::string {
            throw std::system_error(code, std::generic_category(), "scripted");
        });
    }
    /// The shortest time between the starts of two successive requests since the last call.
    std::chrono::nanoseconds shortest_gap() {
        const auto all = bridge_->requests();
        bridge_->commands();
        std::chrono::steady_clock::duration shortest = 1h;
        for (std::size_t i = 1; i < all.size(); ++i) {
            shortest = std::min(shortest, all[i].started - all[i - 1].started);
        }
        return shortest;
    }

    std::shared_ptr<ScriptedHttpHandler> bridge_ = std::make_shared<ScriptedHttpHandler>();
    HueCommandAPI sender_{"10.0.0.1", ScriptedHttpHandler::kUser, bridge_};
};

}  // namespace

TEST_F(HueCommandAPITest, StartsRequestsOfAllThreadsOneDelayApart) {
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
    // Measured from before the first request: a thread that is delayed between the sender's clock
    // and the recorder's makes one gap look shorter, but no request can be earlier than its place.
    const auto all = bridge_->requests();
    ASSERT_EQ(all.size(), 6U);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_GE(all[i].started - before, i * HueCommandAPI::minDelay);
    }
}

TEST_F(HueCommandAPITest, DoesNotWaitAfterASlowRequest) {
    for (int i = 0; i < 4; ++i) {
        bridge_->add("PUT", [] {
            std::this_thread::sleep_for(300ms);
            return "\r\n\r\n[]";
        });
        put();
    }
    EXPECT_LT(shortest_gap(), 400ms);
}

TEST_F(HueCommandAPITest, RetriesOnceAfterAResetOrATimeOut) {
    for (const int code : {ECONNRESET, ETIMEDOUT}) {
        fail_next_put(code);
        bridge_->add_answer("PUT", "[7]");
        EXPECT_EQ(sender_.PUTRequest("", Json::Value())[0], Json::Value(7));
        put();
        EXPECT_EQ(bridge_->requests().size(), 3U);
        EXPECT_GE(shortest_gap(), 100ms);
    }
    fail_next_put(ETIMEDOUT);
    fail_next_put(ECONNRESET);
    EXPECT_THROW(put(), std::system_error);
    EXPECT_EQ(bridge_->requests().size(), 2U);
    EXPECT_EQ(bridge_->requests().back().uri, "/api/test-user/lights");
}

TEST_F(HueCommandAPITest, DoesNotRetryAfterOtherFailuresNorDelayTheNextRequest) {
    for (const int code : {ECONNREFUSED, EAGAIN, EPIPE, 0}) {
        fail_next_put(code);
        EXPECT_THROW(put(), std::system_error);
    }
    EXPECT_EQ(bridge_->requests().size(), 4U);
    EXPECT_LT(shortest_gap(), 100ms);  // the deadline stays
    for (int i = 0; i < 3; ++i) {
        bridge_->add_answer("PUT", "no JSON");
        EXPECT_THROW(put(), std::runtime_error);
    }
    put();
    EXPECT_EQ(bridge_->requests().size(), 4U);
    EXPECT_LT(shortest_gap(), 100ms);
}
