/// The bridge's front door: takes the daemon's HTTP/1.0 requests whole, records each, hands it to
/// the HTTP server behind and relays the answer, or does on command what a failing bridge does.
///
/// It stands in front because the daemon sends a body with GET and a blank line behind every body;
/// a bridge reads those, the server behind would leave them unread and so reset the connection.
/// Thread-safe. A fault holds until the next switch or for as many connections as told.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "simulator/Journal.h"
#include "simulator/SocketServer.h"

namespace simulator {

class Gate final {
  public:
    enum class Fault {
        none,
        reset,            ///< a reset right after the connection was accepted
        stall,            ///< takes the request and never answers
        stall_in_header,  ///< stops in the middle of the answer's header
        stall_in_body,    ///< stops in the middle of the answer's body
        half,             ///< closes in the middle of the answer's body
        slow,             ///< the answer byte by byte, kSlowPause apart unless told otherwise
        replaced,         ///< other bytes instead of the answer; the request has no effect
    };

    struct Request {
        std::chrono::steady_clock::time_point start;  ///< when its bytes reached the machine
        std::string method;
        std::string path;
        std::string body;
    };

    static constexpr int kForever = -1;

    /// Listens on `address` and `port` (0: chosen by the system) for the server on 127.0.0.1 and
    /// `port_behind`. Throws std::system_error.
    Gate(const std::string& address, int port, int port_behind, EventSink sink);
    ~Gate();

    int port() const { return server_.port(); }

    /// @name Faults
    /// @{
    void fails(Fault fault, int times = kForever);
    /// Sends `bytes`, a whole HTTP answer or not, instead of the next answers.
    void answers_bytes(std::string bytes, int times = kForever);
    /// The answer byte by byte, `pause` apart.
    void answers_slowly(std::chrono::milliseconds pause, int times = kForever);
    void refuses() { server_.refuse(); }
    /// A connection to it neither opens nor fails.
    void hangs() { server_.hang(); }
    void recovers();
    /// @}

    /// @name What it saw
    /// @{
    /// Called with each request that the server behind has answered, before the answer goes out, so
    /// in the order in which a client that waits for its answers sees them. On a connection's
    /// thread, and what it does delays the answer. Set before the first request.
    using ExchangeListener = std::function<void(const Request&, const std::string& body)>;
    void on_exchange(ExchangeListener listener) { exchange_listener_ = std::move(listener); }
    std::vector<Request> requests() const;
    /// Those PUTs that the server behind took without an error, whatever became of its answer.
    std::vector<Request> changes() const;
    /// Connections accepted, those that failed on command included.
    int connections() const { return server_.connections(); }
    /// Between the starts of two requests; the largest duration when there were fewer than two.
    std::chrono::milliseconds smallest_gap() const;
    void forget();
    /// @}

    /// "/api/someone/lights/3" is "/lights/3" to a person; a path that names no user stays.
    static std::string without_user(const std::string& path);

    static constexpr std::chrono::milliseconds kSlowPause{1};

  private:
    struct Plan {
        Fault fault = Fault::none;
        int times = 0;
        std::string bytes;
        std::chrono::milliseconds pause = kSlowPause;
        int recoveries = 0;  // at the time when the connection was accepted
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
    std::atomic<int> recoveries_{0};  // a stalled connection is let go at the next one
    SocketServer server_;             // last: its threads use the rest
};

}  // namespace simulator
