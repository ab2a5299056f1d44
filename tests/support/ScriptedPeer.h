/// A server that keeps every request unparsed and runs a test's script on the connection.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "simulator/net/Connection.h"
#include "simulator/net/SocketServer.h"

class ScriptedPeer final {
  public:
    using Script = std::function<void(simulator::Connection&)>;
    using Predicate = std::function<bool(const std::string&)>;

    /// Listens on a UNIX socket, or on a TCP port of 127.0.0.1 if `path` is empty. A request ends
    /// when `is_whole` is true for its text: by default with an empty line.
    explicit ScriptedPeer(const std::string& path = {}, Predicate is_whole = ends_with_empty_line)
        : is_whole_(std::move(is_whole)) {
        path.empty() ? server_.listen_tcp("127.0.0.1", 0) : server_.listen_unix(path);
    }
    ~ScriptedPeer() { server_.stop(); }

    /// Sets what happens after each later request.
    void on_request(Script script) {
        const std::lock_guard<std::mutex> lock(mutex_);
        script_ = std::move(script);
    }
    /// Answers in one piece or in two, 5 ms apart, and closes.
    void set_answer(const std::string& text, const std::string& rest = {}) {
        on_request([text, rest](simulator::Connection& peer) {
            peer.write(text);
            if (!rest.empty()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                peer.write(rest);
            }
            peer.finish();
        });
    }
    void stay_silent() {
        on_request([](simulator::Connection& peer) { peer.hold(); });
    }
    /// Refuses connections and ends the scripts.
    void stop() { server_.stop(); }

    int port() const { return server_.port(); }
    std::vector<std::string> requests() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }
    std::string last_request() const {
        const std::vector<std::string> all = requests();
        return all.empty() ? "" : all.back();
    }

  private:
    static bool ends_with_empty_line(const std::string& text) {
        return text.size() >= 2 && text.compare(text.size() - 2, 2, "\n\n") == 0;
    }
    void serve(simulator::Connection& peer) {
        const std::string request = peer.read_until(is_whole_, std::chrono::seconds(5));
        std::unique_lock<std::mutex> lock(mutex_);
        requests_.push_back(request);
        const Script script = script_;
        lock.unlock();
        if (script) {
            script(peer);
        }
    }

    Predicate is_whole_;
    mutable std::mutex mutex_;  // guards script_ and requests_
    Script script_;
    std::vector<std::string> requests_;
    simulator::SocketServer server_{[this](auto& peer) { serve(peer); }};  // last: uses the rest
};
