/// A bridge without sockets: answers for the given lights as a real one does, unless its script
/// says otherwise, and keeps the requests. Thread-safe.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "huelib/BaseHttpHandler.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/BridgeLight.h"

class ScriptedHttpHandler final : public BaseHttpHandler {
  public:
    static constexpr const char* kUser = "test-user";

    struct Request {
        std::string method, uri;
        std::string body;  // JSON in one line, or the text of a search
        std::string adr;
        int port;
        std::chrono::steady_clock::time_point started;
        std::string content_type;
    };

    ScriptedHttpHandler() = default;
    ScriptedHttpHandler(int id, const Json::Value& description) { set_light(id, description); }

    /// Adds or replaces a light.
    void set_light(int id, const Json::Value& description) {
        const std::lock_guard<std::mutex> guard(mutex_);
        lights_.erase(id);
        lights_.emplace(id, simulator::BridgeLight(id, description));
    }

    /// Queues the answer to the next request with this method: a body, or an exception.
    void add_answer(const std::string& method, const std::string& body) {
        add(method, [body] { return body; });
    }
    template <typename Exception>
    void add_failure(const std::string& method, const Exception& failure) {
        add(method, [failure]() -> std::string { throw failure; });
    }
    /// Sets the answers to a search.
    void set_search_answers(const std::vector<std::string>& answers) { announced_ = answers; }
    /// Sets how long every later request takes.
    void set_duration(std::chrono::milliseconds duration) { duration_ = duration; }

    std::vector<Request> requests() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return requests_;
    }
    /// The requests since the last call except GET: "PUT /lights/3/state {...}".
    std::vector<std::string> commands() {
        const std::lock_guard<std::mutex> guard(mutex_);
        std::vector<std::string> found;
        for (const Request& request : requests_) {
            if (request.method != "GET") {
                found.push_back(request.method + " " + path_of(request.uri) + " " + request.body);
            }
        }
        requests_.clear();
        return found;
    }

    std::string send(const std::string&, const std::string&, int) const override { return ""; }
    std::vector<std::string> sendMulticast(const std::string& msg, const std::string& adr, int port,
                                           int timeout) const override {
        const std::lock_guard<std::mutex> guard(mutex_);
        requests_.push_back({"search", std::to_string(timeout) + " s", msg, adr, port,
                             std::chrono::steady_clock::now(), ""});
        return announced_;
    }
    std::string sendHTTPRequest(std::string method, std::string uri, std::string content_type,
                                std::string body, const std::string& adr, int port) const override {
        const auto started = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(duration_);
        const Json::Value json = simulator::parse_json(body).value_or(Json::Value());
        const std::lock_guard<std::mutex> guard(mutex_);
        requests_.push_back(
            {method, uri, simulator::compact_json(json), adr, port, started, content_type});
        auto& script = script_[method];
        if (script.empty()) {
            return answer_of_lights(method, path_of(uri), json).toStyledString();
        }
        const auto scripted = script.front();
        script.pop_front();
        return scripted();
    }

  private:
    void add(const std::string& method, std::function<std::string()> answer) {
        const std::lock_guard<std::mutex> guard(mutex_);
        script_[method].push_back(std::move(answer));
    }

    static std::string path_of(const std::string& uri) {
        const std::string user_path = std::string("/api/") + kUser;
        return uri.rfind(user_path, 0) == 0 ? uri.substr(user_path.size()) : uri;
    }

    Json::Value answer_of_lights(const std::string& method, const std::string& path,
                                 const Json::Value& body) const {
        Json::Value all(Json::objectValue);
        for (auto& [id, light] : lights_) {
            const std::string own = "/lights/" + std::to_string(id);
            if (path == own && method == "GET") {
                return light.description();
            }
            if (path.rfind(own + "/", 0) == 0) {
                return path == own + "/name" ? light.put_name(body) : light.put_state(body);
            }
            all[std::to_string(id)] = light.description();
        }
        Json::Value root;
        root["lights"] = all;
        return path == "/lights" ? all : root;
    }

    std::chrono::milliseconds duration_{0};
    std::vector<std::string> announced_;
    mutable std::mutex mutex_;  // guards all below
    mutable std::map<int, simulator::BridgeLight> lights_;
    mutable std::map<std::string, std::deque<std::function<std::string()>>> script_;
    mutable std::vector<Request> requests_;
};
