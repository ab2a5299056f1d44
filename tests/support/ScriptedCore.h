/// A core that keeps every request unparsed and runs a test's script on the connection.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "simulator/net/Connection.h"
#include "simulator/net/SocketServer.h"

class ScriptedCore final {
  public:
    using Script = std::function<void(simulator::Connection&)>;

    explicit ScriptedCore(const std::string& path) : server_([this](auto& peer) { serve(peer); }) {
        server_.listen_unix(path);
    }
    ~ScriptedCore() { server_.stop(); }

    /// Sets what happens after each later request.
    void on_request(Script script) {
        const std::lock_guard<std::mutex> lock(mutex_);
        script_ = std::move(script);
    }
    void set_answer(const std::string& text) {
        on_request([text](simulator::Connection& peer) { peer.write(text); });
    }
    void stay_silent() {
        on_request([](simulator::Connection& peer) { peer.hold([] { return false; }); });
    }

    std::vector<std::string> requests() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }
    std::string last_request() const {
        const std::vector<std::string> all = requests();
        return all.empty() ? "" : all.back();
    }

  private:
    void serve(simulator::Connection& peer) {
        const auto is_whole = [](const std::string& text) {
            const std::size_t last_line = text.rfind("\nWaittime: ");
            return last_line != std::string::npos &&
                   text.find("\n\n", last_line) != std::string::npos;
        };
        const std::string request = peer.read_until(is_whole, std::chrono::seconds(5));
        std::unique_lock<std::mutex> lock(mutex_);
        requests_.push_back(request);
        const Script script = script_;
        lock.unlock();
        if (script) {
            script(peer);
        }
    }

    mutable std::mutex mutex_;  // guards script_ and requests_
    Script script_;
    std::vector<std::string> requests_;
    simulator::SocketServer server_;  // last: its threads use the rest
};
