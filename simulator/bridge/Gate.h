/// A proxy in front of the bridge's HTTP server: reads the daemon's HTTP/1.0 requests whole,
/// records them, forwards them and relays the answers, or injects a fault.
///
/// The server needs it because the daemon sends a body with GET and a blank line after every body.
/// A bridge reads those; the server would leave them unread and so reset the connection.
/// Thread-safe.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "simulator/journal/Journal.h"
#include "simulator/net/SocketServer.h"

namespace simulator {

class Gate final {
  public:
    struct Request {
        std::chrono::steady_clock::time_point start;  ///< when the kernel received its last bytes
        std::string method;
        std::string path;
        std::string body;
    };

    /// Listens on `address` and `port`. `port_behind` is the server's
    /// port on 127.0.0.1. Throws std::system_error.
    Gate(const std::string& address, int port, int port_behind, EventSink sink);

    /// Its faults apply to the answers of the bridge.
    SocketServer& server() { return server_; }

    /// @name Requests seen
    /// @{
    /// Called with each answered request, before the answer is sent, on the connection's thread. A
    /// client that waits for its answers sees the same order. Set before the first request.
    using ExchangeListener = std::function<void(const Request&, const std::string& body)>;
    void on_exchange(ExchangeListener listener) { exchange_listener_ = std::move(listener); }
    std::vector<Request> requests() const;
    /// Number of accepted connections, including those with a fault.
    int connections() const { return server_.connections(); }
    void forget();
    /// @}

    /// Turns "/api/USER/lights/3" into "/lights/3"; returns other paths unchanged.
    static std::string without_user(const std::string& path);

  private:
    void serve(Connection& connection);
    std::string answer_to(const Request& request) const;

    int port_behind_;
    EventSink sink_;
    ExchangeListener exchange_listener_;
    mutable std::mutex mutex_;  // guards requests_
    std::vector<Request> requests_;
    SocketServer server_;  // last: its threads use the rest
};

}  // namespace simulator
