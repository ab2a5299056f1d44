#include "simulator/prompt/Console.h"

#include <cstdio>
#include <iterator>
#include <utility>

namespace simulator {
namespace {

constexpr std::size_t kLongestText = 200;

struct Routine {
    const char* text;  // the start of the text, or all of it with `is_whole`
    EventKind kind;
    bool is_whole;
};

// Events that every poll, every light or every report repeats.
constexpr Routine kRoutine[] = {
    {"GET /lights", EventKind::daemon_to_bridge, true},
    {"info: Monitoring thread - starting", EventKind::log, false},
    {"info: Monitoring thread - light status", EventKind::log, false},
    {"info: Hue->getLight(", EventKind::log, false},
    {"warning: libtavcore->compose_runonelement error: ip", EventKind::log, false},
    {"warning: libtavcore->compose_runonelement error: sessionID", EventKind::log, false},
};

// By EventKind.
constexpr const char* kDirections[] = {
    "core -> daemon",
    "daemon -> core",
    "daemon -> bridge",
    "bridge -> daemon",
    "huectl -> bridge",
    "bridge -> huectl",
    "daemon -> database",
    "log",
    "huectl",
    "house",
};
static_assert(std::size(kDirections) == static_cast<std::size_t>(EventKind::house) + 1);

std::string shortened(const std::string& text) {
    return text.size() <= kLongestText ? text : text.substr(0, kLongestText) + "...";
}

// "6 lights" is the answer to a poll or to the first read.
bool is_count_of_lights(const Event& event) {
    const std::size_t space = event.text.find(" lights");
    return event.kind == EventKind::bridge_to_daemon && space != std::string::npos &&
           event.text.find_first_not_of("0123456789") == space && space + 7 == event.text.size();
}

}  // namespace

Console::Console(std::ostream& out, bool shows_all)
    : out_(out), shows_all_(shows_all), start_(std::chrono::steady_clock::now()) {}

bool Console::is_wanted(const Event& event) {
    if (shows_all_) {
        return true;
    }
    if (is_count_of_lights(event)) {
        return routine_seen_.insert("lights").second;
    }
    for (const Routine& routine : kRoutine) {
        const bool is_like = event.text.rfind(routine.text, 0) == 0 &&
                             (!routine.is_whole || event.text == routine.text);
        if (event.kind == routine.kind && is_like) {
            return routine_seen_.insert(routine.text).second;
        }
    }
    return true;
}

void Console::print(const Event& event) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!is_wanted(event)) {
        return;
    }
    char head[64];
    std::snprintf(head, sizeof(head), "%9.3f  %-18s  ",
                  std::chrono::duration<double>(event.time - start_).count(),
                  kDirections[static_cast<std::size_t>(event.kind)]);
    print_line(head + shortened(event.text));
}

void Console::print(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    print_line(text);
}

void Console::print_through(std::function<void(const std::string&)> printer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    printer_ = std::move(printer);
}

void Console::print_line(const std::string& line) {
    if (printer_) {
        printer_(line);
    } else {
        out_ << line << '\n' << std::flush;
    }
}

}  // namespace simulator
