/// A HueHandler with the sample installation of the simulator, and short waits. Light 1 is white
/// and off. Light 4 has every role and is on, of colour #218CC8. The last digit of an object is its
/// role: 1 on_off, 2 value, 3 temperature, 4 r, 5 g, 6 b, 7 hsv.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "gtwhandler/CallFromCoreParameters.h"
#include "hue_handler/HueHandler.h"
#include "huelib/LinHttpHandler.h"
#include "simulator/Installation.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"
#include "simulator/core/Core.h"
#include "simulator/database/DatabaseService.h"
#include "tests/support/SystemLogTest.h"

class HandlerTest : public SystemLogTest {
  protected:
    static constexpr unsigned kBridgeObject = 100;
    static constexpr const char* kUser = "test-user";

    /// Creates the handler and calls its init(): its table is filled, no light has been read.
    int init() {
        handler_ = std::make_unique<hue_handler::HueHandler>(
            kBridgeObject, simulator::Bridge::kAddress, kUser, std::make_shared<LinHttpHandler>(),
            timings_);
        return handler_->init();
    }

    /// The same, and waits for the initial read and the first poll.
    void start() {
        ASSERT_EQ(init(), 0);
        ASSERT_TRUE(logged("light status from bridge received, parsing..."));
    }

    void run(long object, const char* payload, const char* action = "RUN") {
        callfromcoreparametersnamespace::CallFromCoreParameters call(object, action, payload,
                                                                     "NO-OPTIONALS", "", "");
        EXPECT_EQ(handler_->didReceiveCallFromCore(nullptr, &call), 0);
    }

    /// Runs a command, waits until the worker has carried it out, and returns the bodies of its
    /// PUTs.
    std::vector<std::string> run_and_wait(long object, const char* payload) {
        log_.clear();
        bridge_.gate().forget();
        run(object, payload);
        EXPECT_TRUE(logged("-- Received request: obj_id " + std::to_string(object)));
        // The next command follows after the pause of this one; no light has object 999.
        run(999, "0");
        EXPECT_TRUE(logged("-- Received request: obj_id 999"));
        std::vector<std::string> bodies;
        for (const auto& request : bridge_.requests()) {
            if (request.method == "PUT") {
                bodies.push_back(simulator::compact_json(*simulator::parse_json(request.body)));
            }
        }
        return bodies;
    }
    void change_light(int id, const std::string& members) {
        EXPECT_TRUE(bridge_.light(id).change(*simulator::parse_json(members)).isArray());
    }

    static bool eventually(const std::function<bool()>& predicate,
                           std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!predicate()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

    /// Waits until so many polls have begun since this call.
    bool wait_for_polls(int how_many) {
        const int before = bridge_.count("GET", "/lights");
        return eventually([&] { return bridge_.count("GET", "/lights") >= before + how_many; });
    }

    hue_handler::HueHandler::Timings timings_{150, 5, 1, 299};
    simulator::Core core_;
    simulator::DatabaseService database_{
        simulator::load_text_file(simulator::Installation::sample_sql())};
    simulator::Bridge bridge_{
        {kUser, simulator::load_json_file(simulator::Installation::sample_lights())}};
    std::unique_ptr<hue_handler::HueHandler> handler_;
};
