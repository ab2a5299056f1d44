// Commands and log lines, and the results.
#include "simulator/ledger/Ledger.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

using Lock = std::lock_guard<std::mutex>;

constexpr std::size_t kKeptProblems = 20;
constexpr const char* kFailure = "error: Request manager thread error: ";
constexpr const char* kRefusal = "error: HueLight->SendPutRequest the bridge refused the request: ";
constexpr const char* kFailedReport = "error: ERROR sending vexad request: ";
constexpr const char* kSlowCore = "error: Monitoring thread - the core is slow";
constexpr const char* kPollStarts = "info: Monitoring thread - starting refresh";
constexpr const char* kFailedPoll = "error: Skipping light state updates";

bool begins_with(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

}  // namespace

Ledger::Ledger(const std::vector<RoleObject>& objects) {
    std::map<int, std::set<std::string>> channels;  // by light
    for (const RoleObject& object : objects) {
        objects_[object.id] = {object.light, object.role};
        if (Conversions::is_channel(object.role)) {
            channels[object.light].insert(object.role);
        }
    }
    for (auto& [id, object] : objects_) {  // the channels are reported together
        object.is_reported =
            !Conversions::is_channel(object.role) || channels[object.light].size() == 3;
    }
}

void Ledger::start_daemon() {
    const Lock lock(mutex_);
    settle();
    for (Command* const command : waiting_) {
        end_command(*command, Outcome::lost, "the daemon ended before it");
    }
    waiting_.clear();
    poll_.reset();
    is_on_.clear();
    for (auto& [id, object] : objects_) {
        object.known.reset();
        object.core.reset();  // a change that the previous daemon left is not reported
    }
    daemon_start_ = Clock::now();
    last_request_ = last_command_ = last_poll_ = std::nullopt;
    slot_ = {};
}

std::size_t Ledger::add_command(int object, const std::string& payload) {
    const Lock lock(mutex_);
    commands_.push_back({object, payload});
    waiting_.push_back(&commands_.back());
    return commands_.size() - 1;
}

void Ledger::add_acknowledgement(std::size_t command) {
    const Lock lock(mutex_);
    commands_[command].is_acknowledged = true;
}

void Ledger::miss_log_lines() {
    const Lock lock(mutex_);
    misses_log_lines_ = true;
}

void Ledger::add_log_line(const std::string& text) {
    const Lock lock(mutex_);
    int object = 0;
    int value = 0;
    if (std::sscanf(text.c_str(), "info: -- Received request: obj_id %d, value %d", &object,
                    &value) == 2) {
        close_poll();  // a command begins after the reports of a poll
        begin(object, value);
    } else if (begins_with(text, kPollStarts)) {
        close_poll();
    } else if (begins_with(text, "error: ")) {
        take_error(text);
    }
}

// A light that the worker passes on its search may have a failure of its own: only a line that
// names the command's light belongs to the command.
void Ledger::take_error(const std::string& text) {
    std::size_t dropped = 0;
    if (begins_with(text, kFailure) || begins_with(text, kRefusal)) {
        const int light = progress_ ? objects_[progress_->command->object].light : 0;
        if (progress_ &&
            text.find("(light id = " + std::to_string(light) + ")") != std::string::npos) {
            end_command(*progress_->command, Outcome::failed, text);
            objects_[progress_->command->object].core.reset();
            store(light, {});
            progress_.reset();  // nothing follows but a second line
        }
    } else if (begins_with(text, kSlowCore) || begins_with(text, kFailedReport)) {
        if (poll_) {
            poll_->was_interrupted = true;
        }
    } else if (begins_with(text, kFailedPoll)) {
        poll_.reset();
    } else if (begins_with(text, "error: Request dropped, ") && !waiting_.empty()) {
        end_command(*waiting_.back(), Outcome::dropped, text);
        waiting_.pop_back();
    } else if (std::sscanf(text.c_str(), "error: %zu requests dropped, ", &dropped) == 1) {
        for (; dropped > 0 && !waiting_.empty(); --dropped, waiting_.pop_front()) {
            end_command(*waiting_.front(), Outcome::dropped, text);
        }
    }
}

void Ledger::begin(int object, int value) {
    const auto is_meant = [&](const Command& command) {
        return command.object == object && number_of(command.payload) == value;
    };
    if (misses_log_lines_ && (waiting_.empty() || !is_meant(*waiting_.front()))) {
        return;  // a late line of a command that has begun with its request
    }
    settle();
    while (!waiting_.empty()) {
        Command& command = *waiting_.front();
        waiting_.pop_front();
        if (is_meant(command)) {
            progress_ = Progress{&command};
            return;
        }
        end_command(command, Outcome::lost, "passed over");
    }
    add_problem("carried out without being sent: object " + std::to_string(object) + ": " +
                std::to_string(value));
}

// Judges the command in progress.
void Ledger::settle() {
    if (!progress_) {
        return;
    }
    Command& command = *progress_->command;
    const std::optional<Json::Value> body = progress_->body;
    std::string problem;
    const auto expected = expected_body(objects_[command.object], problem);
    if (problem.empty() && expected != body) {
        problem = (body ? compact_json(*body) : "nothing") + " was sent instead of " +
                  (expected ? compact_json(*expected) : "nothing");
    } else if (problem.empty() && body && command.outcome != Outcome::done) {
        problem = "refused by the bridge, not logged";
    }
    objects_[command.object].core.reset();
    end_command(command,
                !problem.empty() ? Outcome::lost
                : body           ? Outcome::done
                                 : Outcome::needless,
                problem);
    if (problem.empty()) {
        apply(command, body == conversions_.sent("on_off", {0}));
    }
    progress_.reset();
}

void Ledger::end_command(Command& command, Outcome outcome, const std::string& reason) {
    command.outcome = outcome;
    command.reason = reason;
}

// What must be sent; nothing if the light has the commanded state already. `problem`: why that is
// not known.
std::optional<Json::Value> Ledger::expected_body(const Object& object, std::string& problem) const {
    const auto& [command, state, sent] = *progress_;
    const int value = number_of(command->payload);
    if (object.role == "on_off") {
        const bool is_needless = object.known ? object.known->front() == value : !sent;
        return is_needless ? std::nullopt : conversions_.sent("on_off", {value});
    }
    const bool is_channel = Conversions::is_channel(object.role);
    auto body =
        is_channel ? expected_color(object, value) : conversions_.sent(object.role, {value});
    if (!body && is_channel) {
        return sent;  // the other channels are unknown, or the table has no such colour
    }
    if (!body) {
        problem = "no row of conversions.txt says what is sent";
        return std::nullopt;
    }
    if (body->size() == 1 && !body->isMember("on") && !state) {
        problem = "the light's state was not read";
        return std::nullopt;
    }
    return body->isMember("on") ? body : changed_members(object, *body);
}

// Without what the light has already, and with "on" if it is off.
std::optional<Json::Value> Ledger::changed_members(const Object& object, Json::Value body) const {
    const auto& [command, state, sent] = *progress_;
    const bool shows_color = object.role == "temperature" && state->isMember("hue") &&
                             (*state)["colormode"].asString() != "ct";
    const std::string member = body.getMemberNames().front();
    if (body.size() == 1 && (*state)[member] == body[member] && !shows_color) {
        body.removeMember(member);
    }
    const auto on = is_on_.find(object.light);
    if (on != is_on_.end() ? !on->second : sent && sent->isMember("on")) {
        body["on"] = true;
    }
    return body.empty() ? std::nullopt : std::optional(body);
}

// Of a channel; nothing if another channel is unknown, or the table has no such colour.
std::optional<Json::Value> Ledger::expected_color(const Object& object, int value) const {
    std::map<std::string, int> rgb;
    for (const auto& [id, other] : objects_) {
        if (other.light == object.light && Conversions::is_channel(other.role) && other.known) {
            rgb[other.role] = other.known->front();
        }
    }
    rgb[object.role] = value & 255;
    return rgb.size() == 3 ? conversions_.sent("rgb", {rgb["r"], rgb["g"], rgb["b"]})
                           : std::nullopt;
}

// What the daemon stores without reading the light again, and the core's own value.
void Ledger::apply(const Command& command, bool is_off) {
    Object& object = objects_[command.object];
    const int value = number_of(command.payload);
    if (!is_off || object.role == "on_off") {  // a colour that means off leaves the light's colour
        object.core = command.payload;
        object.is_commanded = true;
    }
    if (Conversions::is_channel(object.role)) {
        object.known = Numbers{value & 255};
    } else if (object.role == "on_off" || (object.role == "value" && value == 0)) {
        object.known = Numbers{value};
    }
}

bool Ledger::is_of_command(int light) {
    return progress_ && objects_[progress_->command->object].light == light;
}

void Ledger::add_problem(const std::string& problem) {
    if (problems_.size() < kKeptProblems) {
        problems_.push_back(problem);
    }
}

Ledger::Counts Ledger::counts() const {
    const Lock lock(mutex_);
    return counts_;
}

std::size_t Ledger::count(Outcome outcome) const {
    const Lock lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(commands_.begin(), commands_.end(),
                      [outcome](const Command& command) { return command.outcome == outcome; }));
}

std::string Ledger::account() const {
    const Lock lock(mutex_);
    const char* const names[] = {"waiting", "done", "needless", "failed", "dropped", "lost"};
    std::size_t counts[std::size(names)] = {};
    std::size_t acknowledged = 0;
    for (const Command& command : commands_) {
        ++counts[static_cast<std::size_t>(command.outcome)];
        acknowledged += command.is_acknowledged ? 1 : 0;
    }
    std::string text = std::to_string(commands_.size()) + " sent, " + std::to_string(acknowledged) +
                       " acknowledged";
    for (std::size_t i = 0; i < std::size(names); ++i) {
        text += (i == 0 ? " = " : " + ") + std::to_string(counts[i]) + " " + names[i];
    }
    return text;
}

std::vector<Ledger::Command> Ledger::last_commands(std::size_t count) const {
    const Lock lock(mutex_);
    return {commands_.end() - static_cast<std::ptrdiff_t>(std::min(count, commands_.size())),
            commands_.end()};
}

std::optional<bool> Ledger::known_on(int light) const {
    const Lock lock(mutex_);
    if (poll_ && poll_->state(light)["on"].isBool()) {
        return poll_->state(light)["on"].asBool();
    }
    for (const auto& [id, object] : objects_) {
        if (object.light == light && object.role == "on_off" && object.known) {
            return object.known->front() == 1;
        }
    }
    return std::nullopt;
}

std::optional<std::string> Ledger::value(int object) const {
    const Lock lock(mutex_);
    const auto found = objects_.find(object);
    return found == objects_.end() ? std::nullopt : found->second.report;
}

void Ledger::forget_value(int object) {
    const Lock lock(mutex_);
    objects_[object].report.reset();
}

std::vector<std::string> Ledger::differences(const std::map<int, Json::Value>& states) const {
    const Lock lock(mutex_);
    std::vector<std::string> lines;
    for (const auto& [id, object] : objects_) {
        const auto state = states.find(object.light);
        const auto shown = state == states.end()
                               ? std::nullopt
                               : conversions_.reported(object.role, state->second);
        if (object.core && shown &&
            Conversions::differ(object.role, Conversions::parts(object.role, *shown),
                                Conversions::parts(object.role, *object.core))) {
            lines.push_back("object " + std::to_string(id) + " is " + *object.core +
                            " at the core, and the light shows " + *shown);
        }
    }
    return lines;
}

std::vector<std::string> Ledger::problems() const {
    const Lock lock(mutex_);
    return problems_;
}

}  // namespace simulator
