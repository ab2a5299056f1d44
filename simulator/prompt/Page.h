/// The page of a house: shows in browsers what happens in it, and runs the commands that they send.
///
/// Events and states go to every browser as server-sent events. A new stream begins with the time,
/// the last kMostMessages messages and the state. A browser that reads too slowly misses the oldest
/// messages and is notified of their number. One controlling thread.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <httplib.h>
#include <json/value.h>

#include "simulator/journal/Journal.h"
#include "simulator/prompt/Prompt.h"

namespace simulator {

class Page final {
  public:
    /// Binds 127.0.0.1:`port`, any port for 0; throws std::runtime_error if it is taken. The socket
    /// belongs to the network namespace of the caller: before Sandbox::enter() it is the one of the
    /// browsers. Prints the address; with `opens_browser` also opens it in the desktop's browser.
    Page(int port, bool opens_browser);
    ~Page();

    /// Adds an event of the house. Any thread may call.
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
        std::size_t next;  // number of a message
        std::string state = {};
    };

    void serve_stream(httplib::Response& response);
    bool send_news(Stream& stream, httplib::DataSink& sink);
    int take_command(const std::string& line);
    std::string next_command();
    bool run_line(Prompt& prompt, const std::string& line);
    void run_tour(Session& session, Prompt& prompt);
    void show(House* house);
    void publish(const Json::Value& message);
    std::string state();
    double seconds(std::chrono::steady_clock::time_point time) const;

    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::string host_;
    std::atomic<bool> is_touring_{false}, is_cancelled_{false}, is_over_{false}, is_running_{false};
    std::atomic<int> streams_{0};

    std::mutex mutex_;  // guards the next ones
    std::condition_variable news_;
    std::deque<std::string> messages_;
    std::size_t first_ = 0;  // number of messages_.front()
    std::deque<std::string> commands_;
    std::map<std::string, std::string> faults_;
    std::map<int, Json::Value> objects_;  // by ID: what the core holds, and who said it last

    std::mutex state_mutex_;  // guards the next ones
    House* house_ = nullptr;
    int houses_ = 0;
    std::string state_;
    std::chrono::steady_clock::time_point state_time_{};

    httplib::Server server_;
    std::thread thread_;
};

}  // namespace simulator
