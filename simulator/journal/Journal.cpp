#include "simulator/journal/Journal.h"

#include <algorithm>

namespace simulator {

void Journal::add(Event event) {
    const std::lock_guard<std::mutex> order(listener_mutex_);
    event.time = std::chrono::steady_clock::now();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(event);
    }
    if (listener_) {
        listener_(event);
    }
    arrived_.notify_all();  // now a waiter's output follows the line of the listener
}

EventSink Journal::sink() {
    return [this](Event event) { add(std::move(event)); };
}

std::vector<Event> Journal::events(std::size_t since) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return {events_.begin() + static_cast<std::ptrdiff_t>(std::min(since, events_.size())),
            events_.end()};
}

std::size_t Journal::count(EventKind kind, const std::string& part, std::size_t since) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto first =
        events_.begin() + static_cast<std::ptrdiff_t>(std::min(since, events_.size()));
    return static_cast<std::size_t>(std::count_if(first, events_.end(), [&](const Event& event) {
        const std::string& text = kind == EventKind::log ? event.line.text : event.text;
        return event.kind == kind && text.find(part) != std::string::npos;
    }));
}

std::size_t Journal::size() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return events_.size();
}

void Journal::forget() {
    const std::lock_guard<std::mutex> lock(mutex_);
    events_.clear();
}

bool Journal::wait_until(const std::function<bool()>& predicate,
                         std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const std::size_t seen = size();
        if (predicate()) {
            return true;
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline) {
            return false;
        }
        std::unique_lock<std::mutex> lock(mutex_);
        arrived_.wait_until(lock, std::min(deadline, now + kPollPeriod),
                            [&] { return events_.size() != seen; });
    }
}

}  // namespace simulator
