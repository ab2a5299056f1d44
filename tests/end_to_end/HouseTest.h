/// A simulated house with the real daemon for each test. Prints the transcript when a test fails.
#pragma once

#include <chrono>
#include <functional>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "simulator/House.h"
#include "simulator/JsonText.h"

class HouseTest : public testing::Test {
  protected:
    using Milliseconds = std::chrono::milliseconds;

    // Longer than a poll and the pause after a command, on a busy machine.
    static constexpr std::chrono::seconds kLimit{20};

    explicit HouseTest(const simulator::House::Options& options = with_daemon()) : house(options) {}

    /// The sample installation, with the daemon that was built.
    static simulator::House::Options with_daemon() {
        simulator::House::Options options;
        options.daemon = LUMIVAD_PATH;
        return options;
    }

    void SetUp() override { ASSERT_NE(house.log(), nullptr) << "/dev/log is in use"; }

    void TearDown() override {
        if (house.has_daemon() && !expects_end) {
            EXPECT_TRUE(house.daemon().is_running()) << "the daemon ended unexpectedly";
            EXPECT_EQ(house.stop()->text(), "exit code 0");
        }
        if (HasFailure()) {
            std::cout << house.journal().transcript();
        }
    }

    /// Starts the daemon and waits until it has read every light.
    void start() {
        const auto status = house.start();
        ASSERT_TRUE(status && status->status == 0 && status->port > 0);
        ASSERT_TRUE(wait_until([&] { return house.is_ready(); }));
    }

    bool wait_until(const std::function<bool()>& predicate, Milliseconds limit = kLimit) const {
        return house.wait_until(predicate, limit);
    }
    bool wait_for_log(const std::string& part, Milliseconds limit = kLimit) {
        return house.log()->wait_for(part, limit);
    }

    /// Sends a command of the core; expects success.
    void run_object(int object, const std::string& payload) {
        EXPECT_EQ(house.core().run_object(object, payload), 0) << "object " << object;
    }
    /// Waits until a member of a light's state has this value, as JSON.
    bool wait_for_light(int id, const std::string& member, const std::string& value) {
        return wait_until(
            [&] { return simulator::compact_json(house.light(id).state(member)) == value; });
    }
    /// Changes a bulb without the daemon; `members` is JSON.
    void change_bulb(int id, const std::string& members) {
        for (const Json::Value& element : house.light(id).change(*simulator::parse_json(members))) {
            EXPECT_TRUE(element.isMember("success")) << simulator::compact_json(element);
        }
    }
    /// Waits until the last report of an object has this value.
    bool wait_for_report(int object, const std::string& value) {
        return wait_until([&] { return house.core().value(object) == value; });
    }
    /// Waits until another poll has begun; the reports of the one before are then complete.
    bool wait_for_next_poll() {
        const auto polls = [this] { return house.bridge().count("GET", "/lights"); };
        const int before = polls();
        return wait_until([&] { return polls() > before; });
    }

    simulator::House house;
    bool expects_end = false;  // the test ends the daemon
};
