/// Runs the real tool against a bridge with the lights of the sample house.
#pragma once

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/House.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"
#include "simulator/process/ChildProcess.h"

/// Exited with `code`, and standard error has only `last_line` after the lines of a countdown.
MATCHER_P2(Ended, code, last_line, "") {
    *result_listener << "exit code " << arg.code << ", errors: " << arg.errors
                     << "output: " << arg.output;
    const testing::Matcher<std::string> errors =
        testing::MatchesRegex(std::string("([^\n]*: [0-9]+ s left\n)*") + last_line);
    return arg.code == code && errors.Matches(arg.errors);
}
inline auto Succeeds() {
    return Ended(0, "");
}
inline auto FailsWith(int code) {
    return Ended(code, "huectl: [^\n]+\n");
}

class HuectlTest : public testing::Test {
  protected:
    using Result = simulator::ChildProcess::Result;

    /// The words after "/bin/bash" for a command line. The shell knows $bridge, the bridge's
    /// address, and the functions huectl, lights and light; the last two add the words "$bridge
    /// installer".
    static simulator::ChildProcess::Words shell(const std::string& command) {
        static const std::string functions = "bridge=" + std::string(kAddress) + R"(
            huectl() { ')" HUECTL_PATH R"(' "$@"; }
            lights() { huectl lights $bridge installer "$@"; }
            light() { huectl light $bridge installer "$@"; }
            )";
        return {"-c", functions + command};
    }
    static Result run(const std::string& command) {
        return simulator::ChildProcess::run("/bin/bash", shell(command), {},
                                            std::chrono::seconds(60));
    }

    /// Starts a new bridge. It answers every request with `answer`: the name of a fault, or a body.
    void restart(const std::string& answer = {}) {
        bridge.reset();
        bridge = start();
        const auto faults = simulator::Bridge::fault_names();
        if (std::find(faults.begin(), faults.end(), answer) != faults.end()) {
            bridge->inject_fault(answer);
        } else if (!answer.empty()) {
            bridge->send_answer("200 OK", "application/json", answer);
        }
    }
    /// Starts a new bridge, whose light 4 is of a newer model than the catalogue's.
    void restart_with_unknown_model() {
        Json::Value lights = sample_lights();
        lights["4"]["modelid"] = "LCA007";
        lights["4"]["capabilities"] = *simulator::parse_json(
            R"({"control": {"colorgamuttype": "C", "ct": {"min": 160, "max": 454}}})");
        bridge.reset();
        bridge = start(lights);
    }
    /// The changes that the bridge received, a line each: "PUT 4/state {...}".
    std::string changes() const {
        std::string lines;
        for (const auto& request : bridge->requests()) {
            if (request.method == "PUT" || request.method == "DELETE") {
                lines += (lines.empty() ? "" : "\n") + request.method + " " +
                         request.path.substr(std::string("/api/installer/lights/").size()) + " " +
                         simulator::compact_json(*simulator::parse_json(request.body));
            }
        }
        return lines;
    }

    static constexpr const char* kAddress = simulator::Bridge::kAddress;
    std::unique_ptr<simulator::Bridge> bridge = start();

  private:
    static Json::Value sample_lights() {
        return simulator::load_json_file(simulator::Installation::sample_lights());
    }
    static std::unique_ptr<simulator::Bridge> start(const Json::Value& lights = sample_lights()) {
        return std::make_unique<simulator::Bridge>(simulator::Bridge::Setup{"installer", lights});
    }
};
