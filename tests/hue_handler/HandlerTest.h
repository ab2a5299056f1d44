/// A HueHandler with a bridge, a database and a core of the simulator, and short waits.
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
#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"
#include "simulator/core/Core.h"
#include "simulator/database/DatabaseService.h"
#include "tests/support/SystemLogTest.h"

class HandlerTest : public SystemLogTest {
  protected:
    static constexpr unsigned kBridgeObject = 100;
    static constexpr const char* kUser = "test-user";

    /// Lights 1 (colours and white tones) and 2 (white); object 10 * light + role, the roles being
    /// 1 on_off, 2 value, 3 temperature, 4 r, 5 g, 6 b, 7 hsv.
    static constexpr const char* kTables =
        "CREATE TABLE vexad_object (id INTEGER, msp TEXT, optionalp TEXT);"
        "CREATE TABLE vexad_object_relation (parentobj_id INTEGER, childobj_id INTEGER,"
        " optional TEXT);"
        "INSERT INTO vexad_object VALUES (100, '', ''), (101, '1', ''), (102, '2', '');"
        "INSERT INTO vexad_object_relation VALUES (100, 101, ''), (100, 102, ''),"
        " (101, 11, 'tag_complex_element=on_off'),"
        " (101, 12, 'tag_complex_element=''value'''),"
        " (101, 13, 'tag_complex_element=''temperature'''),"
        " (101, 14, 'tag_complex_element=r'), (101, 15, 'tag_complex_element=''g'''),"
        " (101, 16, 'tag_complex_element=b'), (101, 17, 'tag_complex_element=''hsv'''),"
        " (101, 19, 'preset=1|tag_complex_element=on_off'),"
        " (102, 21, 'tag_complex_element=''on_off'''), (102, 22, 'tag_complex_element=value'),"
        " (102, 23, 'tag_complex_element=temperature');";

    static Json::Value light(const std::string& model, const std::string& state) {
        Json::Value description;
        description["state"] = *simulator::parse_json(state);
        description["modelid"] = model;
        description["name"] = "Lamp";
        return description;
    }

    static Json::Value color_light() {
        return light("LCT015", R"({"on": true, "bri": 100, "hue": 10000, "sat": 200, "ct": 300,
                                   "xy": [0.3, 0.3], "effect": "none", "colormode": "hs"})");
    }

    static Json::Value two_lights() {
        Json::Value lights;
        lights["1"] = color_light();
        lights["2"] = light("LWB010", R"({"on": false, "bri": 50})");
        return lights;
    }

    HandlerTest() : bridge_({kUser, two_lights()}) {}

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

    /// Runs a command and waits until the worker has carried it out.
    void run_and_wait(long object, const char* payload) {
        log_.clear();
        run(object, payload);
        ASSERT_TRUE(logged("-- Received request: obj_id " + std::to_string(object)));
        // The next command follows after the pause of this one; no light has object 999.
        run(999, "0");
        ASSERT_TRUE(logged("-- Received request: obj_id 999"));
    }

    /// Bodies of the PUTs since the last call, compact, in order.
    std::vector<std::string> puts() {
        std::vector<std::string> bodies;
        for (const auto& request : bridge_.requests()) {
            if (request.method == "PUT") {
                const auto body = simulator::parse_json(request.body);
                bodies.push_back(body ? simulator::compact_json(*body) : request.body);
            }
        }
        bridge_.gate().forget();
        return bodies;
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
    simulator::DatabaseService database_{kTables};
    simulator::Bridge bridge_;
    std::unique_ptr<hue_handler::HueHandler> handler_;
};
