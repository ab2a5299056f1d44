/// A proxy in front of the bridge's HTTP server: reads the daemon's HTTP/1.0 requests whole,
/// records them, forwards them and relays the answers, or injects a fault.
///
/// The server needs it because the daemon sends a body with GET and a blank line after every body.
/// A bridge reads those; the server would leave them unread and so reset the connection.
/// Thread-safe. A fault lasts until the next one, or for a number of connections.
#pragma once

#include <atomic>
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
    enum class Fault {
        none,
        reset,            ///< resets the connection after accepting it
        stall,            ///< reads the request and never answers
        stall_in_header,  ///< stops in the middle of the answer's header
        stall_in_body,    ///< stops in the middle of the answer's body
        half,             ///< closes in the middle of the answer's body
        slow,             ///< sends byte by byte, kSlowPause apart by default
        replaced,         ///< sends other bytes instead; the request has no effect
    };

    struct Request {
        std::chrono::steady_clock::time_point start;  ///< when the kernel received its last bytes
        std::string method;
        std::string path;
        std::string body;
    };

    static constexpr int kForever = -1;

    /// Listens on `address` and `port` (0: chosen by the system). `port_behind` is the server's
    /// port on 127.0.0.1. Throws std::system_error.
    Gate(const std::string& address, int port, int port_behind, EventSink sink);
    ~Gate();

    int port() const { return server_.port(); }

    /// @name Faults
    /// @{
    void inject_fault(Fault fault, int times = kForever);
    /// Sends `bytes`, a whole HTTP answer or not, instead of the next answers.
    void replace_answers(std::string bytes, int times = kForever);
    /// Sends the answers byte by byte, `pause` apart.
    void slow_down_answers(std::chrono::milliseconds pause, int times = kForever);
    void refuse_connections() { server_.refuse(); }
    /// Connecting neither succeeds nor fails.
    void hang_connections() { server_.hang(); }
    void recover();
    /// @}

    /// @name Requests seen
    /// @{
    /// Called with each answered request, before the answer is sent, on the connection's thread. A
    /// client that waits for its answers sees the same order. Set before the first request.
    using ExchangeListener = std::function<void(const Request&, const std::string& body)>;
    void on_exchange(ExchangeListener listener) { exchange_listener_ = std::move(listener); }
    std::vector<Request> requests() const;
    /// The PUTs that the server accepted without an error, even if the answer was lost.
    std::vector<Request> changes() const;
    /// Number of accepted connections, including those with a fault.
    int connections() const { return server_.connections(); }
    /// The smallest time between the starts of two requests; Clock::duration::max() for fewer.
    std::chrono::milliseconds smallest_gap() const;
    void forget();
    /// @}

    /// Turns "/api/USER/lights/3" into "/lights/3"; returns other paths unchanged.
    static std::string without_user(const std::string& path);

    static constexpr std::chrono::milliseconds kSlowPause{1};

  private:
    struct Plan {
        Fault fault = Fault::none;
        int times = 0;
        std::string bytes;
        std::chrono::milliseconds pause = kSlowPause;
        int recoveries = 0;  // when the connection was accepted
    };

    void serve(Connection& connection);
    Plan take_plan();
    std::string answer_to(const Request& request, const std::string& header, int stop_fd) const;
    void deliver(Connection& connection, const Plan& plan, const std::string& answer);
    void report(EventKind kind, const std::string& text) const;

    int port_behind_;
    EventSink sink_;
    ExchangeListener exchange_listener_;
    mutable std::mutex mutex_;  // guards requests_, changes_ and plan_
    std::vector<Request> requests_;
    std::vector<Request> changes_;
    Plan plan_;
    std::atomic<int> recoveries_{0};  // the next one ends a stalled connection
    SocketServer server_;             // last: its threads use the rest
};

}  // namespace simulator
