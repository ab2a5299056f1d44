#include "simulator/prompt/Console.h"

#include <cstdio>

namespace simulator {
namespace {

constexpr std::size_t kLongestText = 200;
constexpr const char* kCleanLine = "\r\033[K";

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

const char* direction(EventKind kind) {
    switch (kind) {
        case EventKind::core_to_daemon:
            return "core -> daemon";
        case EventKind::daemon_to_core:
            return "daemon -> core";
        case EventKind::daemon_to_bridge:
            return "daemon -> bridge";
        case EventKind::bridge_to_daemon:
            return "bridge -> daemon";
        case EventKind::huectl_to_bridge:
            return "huectl -> bridge";
        case EventKind::bridge_to_huectl:
            return "bridge -> huectl";
        case EventKind::daemon_to_database:
            return "daemon -> database";
        case EventKind::log:
            return "log";
        case EventKind::huectl:
            return "huectl";
        case EventKind::house:
            return "house";
    }
    return "";
}

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
                  direction(event.kind));
    print_line(head + shortened(event.text));
}

void Console::print(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    print_line(text);
}

void Console::set_prompt(const std::string& prompt) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!prompt.empty() || !prompt_.empty()) {
        out_ << kCleanLine << prompt << std::flush;
    }
    prompt_ = prompt;
}

void Console::print_line(const std::string& line) {
    if (prompt_.empty()) {
        out_ << line << '\n' << std::flush;
    } else {
        out_ << kCleanLine << line << '\n' << prompt_ << std::flush;
    }
}

}  // namespace simulator
