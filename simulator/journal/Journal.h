/// The events of the house in order, for printing and for waiting.
///
/// Every part of the house adds its events through an EventSink. Thread-safe. The listener is
/// called on the thread that adds the event, one call at a time, and must not wait for further
/// events.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace simulator {

enum class EventKind {
    core_to_daemon,
    daemon_to_core,
    daemon_to_bridge,
    bridge_to_daemon,
    huectl_to_bridge,
    bridge_to_huectl,
    daemon_to_database,
    huectl_to_database,
    log,
    huectl,  ///< a line that the tool printed
    house,   ///< a change of the house itself
};

/// A line of the system log.
struct LogLine {
    int priority = 0;   ///< syslog severity, 0..7: 3 error, 4 warning, 6 info, 7 debug
    int facility = 0;   ///< syslog facility, 16 for LOG_LOCAL0
    std::string ident;  ///< program name
    int pid = 0;        ///< 0 if the line has none
    std::string text;   ///< the message, as the program wrote it
};

struct Event {
    EventKind kind;
    std::string text;        ///< for people, in one line
    int object = 0;          ///< of a command or a report
    std::string value = {};  ///< of a command or a report; the body of a request or an answer
    LogLine line = {};       ///< of EventKind::log
    std::chrono::steady_clock::time_point time = {};  ///< set by the journal
};

/// How a part of the house adds an event.
using EventSink = std::function<void(Event)>;
/// The sink of a part without a house.
inline void ignore_event(const Event&) {}

class Journal final {
  public:
    using Listener = std::function<void(const Event&)>;

    explicit Journal(Listener listener = {}) : listener_(std::move(listener)) {}

    void add(Event event);
    void add(EventKind kind, std::string text) { add({kind, std::move(text)}); }
    /// A sink that adds to this journal, which must outlive it.
    EventSink sink();

    /// The events from index `since` on.
    std::vector<Event> events(std::size_t since = 0) const;
    /// Number of events of `kind` that contain `part`, from index `since` on. Searches log lines as
    /// the program wrote them.
    std::size_t count(EventKind kind, const std::string& part, std::size_t since = 0) const;
    std::size_t size() const;
    /// Discards the events so far, so that a long run does not grow.
    void forget();

    /// Waits until `predicate` is true; false at the limit. Evaluates it at every event and at
    /// least every kPollPeriod; it may read any part of the house.
    bool wait_until(const std::function<bool()>& predicate, std::chrono::milliseconds limit) const;

    static constexpr std::chrono::milliseconds kPollPeriod{100};

  private:
    mutable std::mutex mutex_;  // guards events_
    mutable std::condition_variable arrived_;
    std::vector<Event> events_;
    std::mutex listener_mutex_;  // one listener call at a time, in the order of events_
    Listener listener_;
};

}  // namespace simulator
