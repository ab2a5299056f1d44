/// What happens in the house, in order: who said what to whom, for printing and for waiting.
///
/// Every part of the house reports here through an EventSink. Thread-safe; a listener is called on
/// the thread that reports, one call at a time, and must not wait for further events.
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
    log,
    huectl,  ///< a line that the tool printed
    house,   ///< what was done to the house itself
};

struct Event {
    std::chrono::steady_clock::time_point time;
    EventKind kind;
    std::string text;
};

/// How a part of the house reports an event; may be empty.
using EventSink = std::function<void(EventKind, std::string)>;

class Journal final {
  public:
    using Listener = std::function<void(const Event&)>;

    explicit Journal(Listener listener = {}) : listener_(std::move(listener)) {}

    void add(EventKind kind, std::string text);
    /// A sink that adds to this journal, which must outlive it.
    EventSink sink();

    std::vector<Event> events() const;
    /// All of them as text, a line each with the milliseconds since the first one.
    std::string transcript() const;
    /// How many events of `kind` hold `part`, from the event of index `since` on.
    std::size_t count(EventKind kind, const std::string& part, std::size_t since = 0) const;
    std::size_t size() const;
    /// Lets go of the events so far; for a house that stands for hours.
    void forget();

    /// True as soon as `predicate` is. It is asked at every event, and at least every
    /// kPollPeriod; it may read any part of the house.
    bool wait_for(const std::function<bool()>& predicate, std::chrono::milliseconds limit) const;

    static constexpr std::chrono::milliseconds kPollPeriod{100};

  private:
    mutable std::mutex mutex_;  // guards events_
    mutable std::condition_variable arrived_;
    std::vector<Event> events_;
    std::mutex listener_mutex_;  // keeps the listener's calls apart, and in the order of events_
    Listener listener_;
};

}  // namespace simulator
