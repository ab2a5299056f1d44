/// Runs the real tool against a bridge with the lights of the sample house.
#pragma once

#include <algorithm>
#include <chrono>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/House.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"
#include "simulator/process/ChildProcess.h"

class HuectlTest : public testing::Test {
  protected:
    using Words = simulator::ChildProcess::Words;
    using Result = simulator::ChildProcess::Result;

    static constexpr const char* kUser = "installer";
    static constexpr std::chrono::seconds kLimit{60};

    /// Runs "huectl WORDS..." to its end.
    static Result run(const Words& words, const Words& environment = {}) {
        return simulator::ChildProcess::run(HUECTL_PATH, words, environment, kLimit);
    }
    /// Runs "huectl light" for a light of this bridge.
    static Result light(int id, const Words& options = {}) {
        Words words = {"light", kAddress, kUser, std::to_string(id)};
        words.insert(words.end(), options.begin(), options.end());
        return run(words);
    }
    static Result lights(const std::string& user = kUser) {
        return run({"lights", kAddress, user});
    }

    /// Sets a light to a copy of light 4, with members of its description and of its state replaced
    /// by those of two JSON objects.
    void set_light(int id, const std::string& description, const std::string& state = "{}") {
        Json::Value& light = lights_[std::to_string(id)];
        light = lights_["4"];
        merge(light, description);
        merge(light["state"], state);
        restart();
    }
    void remove_state_member(int id, const std::string& member) {
        lights_[std::to_string(id)]["state"].removeMember(member);
        restart();
    }

    /// The cells of each line of a table, whatever the widths of its columns.
    static std::vector<Words> cells_of(const std::string& table) {
        std::vector<Words> rows;
        std::istringstream lines(table);
        for (std::string line; std::getline(lines, line);) {
            Words& row = rows.emplace_back();
            for (std::size_t start = 0, end = 0; start < line.size();
                 start = line.find_first_not_of(' ', end)) {
                end = std::min(line.find("  ", start), line.size());
                row.push_back(line.substr(start, end - start));
            }
        }
        return rows;
    }

    simulator::Bridge& bridge() { return *bridge_; }
    /// The bridge answers every request with this body.
    void send_body(const std::string& body) {
        bridge_->send_answer("200 OK", "application/json", body);
    }
    /// The changes that the bridge received, in order: "PUT /lights/4/state {...}".
    std::vector<std::string> changes() const {
        std::vector<std::string> found;
        for (const auto& request : bridge_->requests()) {
            if (request.method != "GET") {
                const std::string user_path = std::string("/api/") + kUser;
                found.push_back(request.method + " " + request.path.substr(user_path.size()) + " " +
                                simulator::compact_json(*simulator::parse_json(request.body)));
            }
        }
        return found;
    }

    static constexpr const char* kAddress = simulator::Bridge::kAddress;

  private:
    static void merge(Json::Value& value, const std::string& members) {
        const Json::Value added = *simulator::parse_json(members);
        for (const std::string& name : added.getMemberNames()) {
            value[name] = added[name];
        }
    }
    void restart() {
        bridge_.reset();
        bridge_ = std::make_unique<simulator::Bridge>(simulator::Bridge::Setup{kUser, lights_});
    }

    Json::Value lights_ = simulator::load_json_file(simulator::House::sample_lights());
    std::unique_ptr<simulator::Bridge> bridge_ =
        std::make_unique<simulator::Bridge>(simulator::Bridge::Setup{kUser, lights_});
};

/// Exited with `code` and one line on standard error, which contains `part`.
MATCHER_P2(FailsWith, code, part, "") {
    const std::string& errors = arg.errors;
    const bool is_one_line = errors.find('\n') == errors.size() - 1;
    *result_listener << "exit code " << arg.exit_code() << ", errors: " << errors
                     << "output: " << arg.output;
    return arg.exit_code() == code && errors.find(part) != std::string::npos && is_one_line &&
           errors.rfind("huectl: ", 0) == 0;
}

/// Exited with 0 and an empty standard error.
MATCHER(Succeeds, "") {
    *result_listener << "exit code " << arg.exit_code() << ", errors: " << arg.errors;
    return arg.exit_code() == 0 && arg.errors.empty();
}
