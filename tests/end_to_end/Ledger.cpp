#include "Ledger.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "simulator/JsonText.h"

namespace {

using simulator::Gate;
using simulator::SystemLog;

// Not the brightness of any percentage, so that a colour never makes a brightness needless.
constexpr int kColorValue = 199;
constexpr int kFirstPercent = 2;
constexpr int kPercents = 97;

struct Target {
    int light;
    int object;
    bool is_color;
};
constexpr Target kTargets[Ledger::kKinds] = {
    {2, 122, false}, {4, 142, false}, {5, 152, false}, {4, 147, true}, {6, 162, false}};

std::string change_of(const Gate::Request& request) {
    auto body = simulator::parse_json(request.body);
    if (!body || !body->isObject()) {
        return {};
    }
    body->removeMember("on");
    return simulator::compact_json(*body);
}

std::string path_of_light(int light) {
    return "/lights/" + std::to_string(light) + "/state";
}

using Key = std::pair<int, int>;  // object and value

int light_of(int object) {
    const auto* found =
        std::find_if(std::begin(kTargets), std::end(kTargets),
                     [object](const Target& target) { return target.object == object; });
    return found == std::end(kTargets) ? 0 : found->light;
}

// Whether the line is the failure of the last command that the worker took. A line for another
// light is not.
bool is_failure(const std::string& text, int light) {
    return (text.rfind("Request manager thread error: ", 0) == 0 ||
            text.rfind("HueLight->SendPutRequest the bridge refused ", 0) == 0) &&
           text.find("(light id = " + std::to_string(light) + ")") != std::string::npos;
}

// The number of logged failures per command. The worker's lines follow the line of the command.
std::map<Key, std::size_t> failures_in(const std::vector<SystemLog::Line>& lines,
                                       std::size_t& dropped_at_the_end) {
    std::map<Key, std::size_t> failures;
    Key taken{};
    bool is_counted = true;
    for (const SystemLog::Line& line : lines) {
        Key key;
        const char* text = line.text.c_str();
        const std::size_t dropped = line.text.find(": obj_id ");
        if (std::sscanf(text, "-- Received request: obj_id %d, value %d", &key.first,
                        &key.second) == 2) {
            taken = key;
            is_counted = false;
        } else if (!is_counted && is_failure(line.text, light_of(taken.first))) {
            ++failures[taken];
            is_counted = true;
        } else if (line.text.rfind("Request dropped, ", 0) == 0 && dropped != std::string::npos &&
                   std::sscanf(text + dropped, ": obj_id %d, value %d", &key.first, &key.second) ==
                       2) {
            ++failures[key];
        } else if (line.text.find(" requests dropped, ") != std::string::npos) {
            dropped_at_the_end += static_cast<std::size_t>(std::atoi(text));
        }
    }
    return failures;
}

}  // namespace

Ledger::Command Ledger::next_command() const {
    const int number = static_cast<int>(commands_.size());
    const Target& target = kTargets[commands_.size() % std::size(kTargets)];
    Command command;
    command.light = target.light;
    command.object = target.object;
    if (!target.is_color) {
        command.value = kFirstPercent + number % kPercents;
        command.payload = std::to_string(command.value);
        command.change = "{\"bri\":" + std::to_string(command.value * 254 / 100) + "}";
        return command;
    }
    const int hue = number % 256;
    const int saturation = 1 + number / 256 % 254;
    command.value = hue << 16 | saturation << 8 | kColorValue;
    char payload[16];
    std::snprintf(payload, sizeof(payload), "#%06X", static_cast<unsigned>(command.value));
    command.payload = payload;
    command.change = "{\"bri\":" + std::to_string(kColorValue) +
                     ",\"hue\":" + std::to_string(hue * 257) +
                     ",\"sat\":" + std::to_string(saturation) + "}";
    return command;
}

const Ledger::Command& Ledger::send_next(simulator::Core& core) {
    Command command = next_command();
    const auto asked = Clock::now();
    command.is_acknowledged = core.run_object(command.object, command.payload) == 0;
    command.answered_in =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - asked);
    commands_.push_back(command);
    return commands_.back();
}

bool Ledger::is_done(const Command& command, simulator::Bridge& bridge) const {
    const std::vector<Gate::Request> changes = bridge.gate().changes();
    return std::any_of(changes.begin(), changes.end(), [&](const Gate::Request& request) {
        return Gate::without_user(request.path) == path_of_light(command.light) &&
               change_of(request) == command.change;
    });
}

Ledger::Account Ledger::account(simulator::House& house, std::size_t count) const {
    std::map<std::string, std::size_t> changes;
    for (const Gate::Request& request : house.bridge().gate().changes()) {
        ++changes[Gate::without_user(request.path) + change_of(request)];
    }
    std::size_t dropped_at_the_end = 0;
    std::map<Key, std::size_t> failures = failures_in(house.log()->lines(), dropped_at_the_end);
    Account account;
    account.sent = std::min(count, commands_.size());
    for (std::size_t i = 0; i < account.sent; ++i) {
        const Command& command = commands_[i];
        account.slowest_answer = std::max(account.slowest_answer, command.answered_in);
        std::size_t& made = changes[path_of_light(command.light) + command.change];
        std::size_t& logged = failures[{command.object, command.value}];
        account.acknowledged += command.is_acknowledged ? 1 : 0;
        if (made > 0) {
            --made;
            account.done += command.is_acknowledged ? 1 : 0;
        } else if (logged > 0) {
            --logged;
            account.failed_with_line += command.is_acknowledged ? 1 : 0;
        } else if (command.is_acknowledged) {
            ++account.lost;
        }
    }
    const std::size_t named = std::min(account.lost, dropped_at_the_end);
    account.lost -= named;
    account.failed_with_line += named;
    return account;
}
