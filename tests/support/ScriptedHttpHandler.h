/// A bridge without sockets: answers for the given lights as a real one does, unless its script
/// says otherwise, and keeps the requests. Thread-safe.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "huelib/BaseHttpHandler.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/BridgeLight.h"

class ScriptedHttpHandler final : public BaseHttpHandler {
  public:
    static constexpr const char* kUser = "test-user";

    struct Request {
        std::string method, uri;
        std::string body;  // JSON in one line
        std::string adr;
        int port;
        std::chrono::steady_clock::time_point started;
        std::string text;  // the whole message
    };

    ScriptedHttpHandler() = default;
    ScriptedHttpHandler(int id, const Json::Value& description) { set_light(id, description); }

    /// Adds or replaces a light.
    void set_light(int id, const Json::Value& description) {
        const std::lock_guard<std::mutex> guard(mutex_);
        lights_.insert_or_assign(id, simulator::BridgeLight(id, description));
    }

    /// Queues the answer to the next request with this method: returns the message, or throws.
    void add(const std::string& method, std::function<std::string()> answer) {
        const std::lock_guard<std::mutex> guard(mutex_);
        script_[method].push_back(std::move(answer));
    }
    /// Queues the body of an answer.
    void add_answer(const std::string& method, const std::string& body) {
        add(method, [body] { return kHead + body; });
    }
    /// Sets the answers to a search.
    void set_search_answers(const std::vector<std::string>& answers) { announced_ = answers; }

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

    std::string send(const std::string& msg, const std::string& adr, int port) const override {
        const auto started = std::chrono::steady_clock::now();
        const std::size_t uri = msg.find(' ') + 1;
        const std::string method = msg.substr(0, uri - 1);
        const std::string path = msg.substr(uri, msg.find(' ', uri) - uri);
        const Json::Value json =
            simulator::parse_json(msg.substr(msg.find("\r\n\r\n"))).value_or(Json::Value());
        const std::lock_guard<std::mutex> guard(mutex_);
        requests_.push_back({method, path, simulator::compact_json(json), adr, port, started, msg});
        auto& script = script_[method];
        if (script.empty()) {
            return kHead + answer_of_lights(method, path_of(path), json).toStyledString();
        }
        const auto scripted = script.front();
        script.pop_front();
        return scripted();
    }
    std::vector<std::string> sendMulticast(const std::string& msg, const std::string& adr, int port,
                                           int timeout) const override {
        const std::lock_guard<std::mutex> guard(mutex_);
        requests_.push_back({"search", std::to_string(timeout) + " s", "", adr, port, {}, msg});
        return announced_;
    }

  private:
    static constexpr const char* kHead = "HTTP/1.0 200 OK\r\n\r\n";

    static std::string path_of(const std::string& uri) {
        const std::string user_path = std::string("/api/") + kUser;
        return uri.rfind(user_path, 0) == 0 ? uri.substr(user_path.size()) : uri;
    }

    Json::Value answer_of_lights(const std::string& method, const std::string& path,
                                 const Json::Value& body) const {
        Json::Value root(Json::objectValue);
        Json::Value& all = root["lights"] = Json::Value(Json::objectValue);
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
        return path == "/lights" ? all : root;
    }

    std::vector<std::string> announced_;
    mutable std::mutex mutex_;  // guards all below
    mutable std::map<int, simulator::BridgeLight> lights_;
    mutable std::map<std::string, std::deque<std::function<std::string()>>> script_;
    mutable std::vector<Request> requests_;
};
