#include "simulator/prompt/Console.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include <fnmatch.h>

#include "simulator/prompt/LineReader.h"

namespace simulator {
namespace {

constexpr std::size_t kLongestText = 200;

struct Routine {
    EventKind kind;
    const char* pattern;  // as of fnmatch(3)
};

// Events that every poll, every light or every report repeats.
constexpr Routine kRoutine[] = {
    {EventKind::daemon_to_bridge, "GET /lights"},
    {EventKind::bridge_to_daemon, "+([0-9]) lights"},
    {EventKind::log, "info: Monitoring thread - starting*"},
    {EventKind::log, "info: Monitoring thread - light status*"},
    {EventKind::log, "info: Hue->getLight(*"},
    {EventKind::log, "warning: libtavcore->compose_runonelement error: ip*"},
    {EventKind::log, "warning: libtavcore->compose_runonelement error: sessionID*"},
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
    "huectl -> database",
    "log",
    "huectl",
    "house",
};
static_assert(std::size(kDirections) == static_cast<std::size_t>(EventKind::house) + 1);

std::string shortened(const std::string& text) {
    return text.size() <= kLongestText ? text : text.substr(0, kLongestText) + "...";
}

}  // namespace

const char* Console::direction(const Event& event) {
    return kDirections[static_cast<std::size_t>(event.kind)];
}

const char* Console::routine(const Event& event) {
    const auto* found =
        std::find_if(std::begin(kRoutine), std::end(kRoutine), [&](const Routine& routine) {
            return event.kind == routine.kind &&
                   fnmatch(routine.pattern, event.text.c_str(), FNM_EXTMATCH) == 0;
        });
    return found == std::end(kRoutine) ? nullptr : found->pattern;
}

void Console::print(const Event& event) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const char* pattern = routine(event);
    if (!shows_all_ && pattern != nullptr && !routine_seen_.insert(pattern).second) {
        return;
    }
    char head[64];
    std::snprintf(head, sizeof(head), "%9.3f  %-18s  ",
                  std::chrono::duration<double>(event.time - start_).count(), direction(event));
    print_above_line(head + shortened(event.text));
}

void Console::print(const std::string& text) {
    print_above_line(text);
}

}  // namespace simulator
