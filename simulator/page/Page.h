/// The page of a house: shows in browsers what happens in it, and runs the commands that they send.
///
/// Events and states go to every browser as server-sent events: the first message of a stream says
/// the time, the last kMostMessages events follow, and then what is new. A browser that reads too
/// slowly misses the oldest ones and is notified of their number. Commands are lines of the house's
/// language; one runs at a time. Thread-safe but for the constructor and run().
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <json/value.h>

#include "simulator/journal/Journal.h"
#include "simulator/prompt/Prompt.h"

namespace httplib {
class Server;
struct Request;
struct Response;
class DataSink;
}  // namespace httplib

namespace simulator {

class Page final {
  public:
    /// Binds 127.0.0.1:`port`, any port for 0; throws std::runtime_error if it is taken. The socket
    /// belongs to the network namespace of the caller: before Sandbox::enter() it is the one of the
    /// browsers.
    explicit Page(int port);
    ~Page();

    /// Prints the address; with `opens_browser` also opens it in the browser of the desktop.
    void announce(bool opens_browser) const;
    /// Adds an event of the house.
    void add(const Event& event);
    /// True while a browser's request to end the tour is carried out.
    bool is_cancelled() const { return is_cancelled_; }

    /// Starts the daemon of a paired house, serves browsers and runs their commands until the
    /// session is interrupted. Returns true if a browser asks for the tour, which needs a new
    /// house: the next call begins with it.
    bool run(Session& session, Prompt& prompt);

    static constexpr std::size_t kMostMessages = 1000;
    static constexpr std::size_t kMostWaiting = 100;  ///< commands
    static constexpr int kMostBrowsers = 32;

  private:
    struct Stream {
        std::uint64_t next;  // number of a message
        std::string state = {};
    };

    void add_routes();
    void serve_stream(httplib::Response& response);
    bool send_news(Stream& stream, httplib::DataSink& sink);
    int take_command(const std::string& line);
    void show(Session* session);
    std::string next_command();
    void run_tour();
    bool run_line(const std::string& line);
    void publish(const Json::Value& message);
    std::string state();
    Json::Value make_state();
    double now() const;

    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::unique_ptr<httplib::Server> server_;
    std::string host_;
    std::thread thread_;
    Session* session_ = nullptr;  // of run(), like the next one
    Prompt* prompt_ = nullptr;
    std::atomic<bool> is_touring_{false}, is_cancelled_{false}, is_over_{false}, is_running_{false};
    std::atomic<int> streams_{0};

    std::mutex mutex_;  // guards the next ones
    std::condition_variable news_;
    std::deque<std::string> messages_;
    std::uint64_t first_ = 0;             // number of messages_.front()
    std::map<int, Json::Value> objects_;  // by ID: what the core holds, and who said it last
    std::map<std::string, std::string> faults_;
    std::deque<std::string> commands_;

    std::mutex state_mutex_;  // guards the next ones
    Session* shown_ = nullptr;
    std::string state_;
    std::chrono::steady_clock::time_point state_time_{};
};

}  // namespace simulator
