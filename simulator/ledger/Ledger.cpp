#include "simulator/ledger/Ledger.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

using Lock = std::lock_guard<std::mutex>;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

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

std::string text_of(int object, const std::string& payload) {
    return "object " + std::to_string(object) + ": " + payload;
}

bool is_success(const Json::Value& answer) {
    return answer.isArray() && std::all_of(answer.begin(), answer.end(), [](const auto& element) {
               return element.isMember("success");
           });
}

bool differ(const Conversions::Numbers& a, const Conversions::Numbers& b,
            const Conversions::Numbers& tolerance) {
    for (std::size_t i = 0; i < tolerance.size(); ++i) {
        if (std::abs(a[i] - b[i]) > tolerance[i]) {
            return true;
        }
    }
    return false;
}

bool is_channel(const std::string& role) {
    return role.size() == 1;  // r, g, b
}

Json::Value switched(bool on) {
    Json::Value body;
    body["on"] = on;
    return body;
}

}  // namespace

Ledger::Ledger(const std::vector<RoleObject>& objects) {
    for (const RoleObject& object : objects) {
        places_[object.id] = {object.light, object.role, true};
        lights_[object.light].objects[object.role] = object.id;
    }
    for (auto& [id, place] : places_) {  // the channels are reported together
        const auto& roles = lights_[place.light].objects;
        place.is_reported =
            !is_channel(place.role) ||
            (roles.count("r") != 0 && roles.count("g") != 0 && roles.count("b") != 0);
    }
}

std::string Ledger::light_name(int object) const {
    const auto place = places_.find(object);
    return "(light id = " + std::to_string(place == places_.end() ? 0 : place->second.light) + ")";
}

void Ledger::start_daemon() {
    const Lock lock(mutex_);
    settle();
    for (const std::size_t number : waiting_) {
        end_command(commands_[number], Outcome::lost, "the daemon ended before it");
    }
    waiting_.clear();
    poll_.reset();
    for (auto& [id, light] : lights_) {
        light.is_on.reset();
        light.known.clear();
    }
    last_request_ = last_command_ = last_poll_ = std::nullopt;
    slot_ = {};
    daemon_start_ = Clock::now();
}

std::size_t Ledger::add_command(int object, const std::string& payload) {
    const Lock lock(mutex_);
    commands_.push_back({object, payload, false, Outcome::waiting, {}});
    waiting_.push_back(commands_.size() - 1);
    return commands_.size() - 1;
}

void Ledger::add_acknowledgement(std::size_t command) {
    const Lock lock(mutex_);
    commands_[command].is_acknowledged = true;
    ++counts_.acknowledged;
}

void Ledger::miss_log_lines() {
    const Lock lock(mutex_);
    misses_log_lines_ = true;
}

// Log lines
// ----------------------------------------------------------------------------------------

void Ledger::add_log_line(const std::string& text) {
    const Lock lock(mutex_);
    ++counts_.log_lines;
    int object = 0;
    int value = 0;
    if (std::sscanf(text.c_str(), "info: -- Received request: obj_id %d, value %d", &object,
                    &value) == 2) {
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
        if (progress_ &&
            text.find(light_name(commands_[progress_->command].object)) != std::string::npos) {
            progress_->failure = text;
            settle();  // nothing follows but a second line
        }
    } else if (begins_with(text, kSlowCore) || begins_with(text, kFailedReport)) {
        if (poll_) {
            poll_->was_interrupted = true;
        }
    } else if (begins_with(text, kFailedPoll)) {
        poll_.reset();
    } else if (begins_with(text, "error: Request dropped, ") && !waiting_.empty()) {
        end_command(commands_[waiting_.back()], Outcome::dropped, text);
        waiting_.pop_back();
    } else if (std::sscanf(text.c_str(), "error: %zu requests dropped, ", &dropped) == 1) {
        for (; dropped > 0 && !waiting_.empty(); --dropped, waiting_.pop_front()) {
            end_command(commands_[waiting_.front()], Outcome::dropped, text);
        }
    }
}

void Ledger::begin(int object, int value) {
    const auto is_meant = [&](std::size_t number) {
        return commands_[number].object == object && number_of(commands_[number].payload) == value;
    };
    if (misses_log_lines_ && (waiting_.empty() || !is_meant(waiting_.front()))) {
        return;  // a late line of a command that has begun with its request
    }
    settle();
    while (!waiting_.empty()) {
        const std::size_t number = waiting_.front();
        waiting_.pop_front();
        Command& command = commands_[number];
        if (is_meant(number)) {
            progress_ = Progress{number, {}, {}, false, {}};
            return;
        }
        end_command(command, Outcome::lost, "passed over");
    }
    add_problem("carried out without being sent: " + text_of(object, std::to_string(value)));
}

// Commands
// -----------------------------------------------------------------------------------------

void Ledger::settle() {
    if (progress_) {
        judge(*progress_, commands_[progress_->command]);
        progress_.reset();
    }
}

void Ledger::judge(const Progress& done, Command& command) {
    core_values_.erase(command.object);
    if (!done.failure.empty()) {
        end_command(command, Outcome::failed, done.failure);
        lights_[places_[command.object].light].known.clear();
        return;
    }
    std::string problem;
    const auto expected = expected_body(done, command, problem);
    if (problem.empty() && expected != done.body) {
        problem = (done.body ? compact_json(*done.body) : "nothing") + " was sent instead of " +
                  (expected ? compact_json(*expected) : "nothing");
    } else if (problem.empty() && done.body && !done.is_accepted) {
        problem = "refused by the bridge, not logged";
    }
    if (problem.empty()) {
        apply(command, done.body == switched(false));
    }
    end_command(command,
                !problem.empty() ? Outcome::lost
                : done.body      ? Outcome::done
                                 : Outcome::needless,
                problem);
}

void Ledger::end_command(Command& command, Outcome outcome, const std::string& reason) {
    command.outcome = outcome;
    command.reason = reason;
    ++ended_[static_cast<std::size_t>(outcome)];
}

// Nothing if the light has the commanded state already. `problem`: why that is not known.
std::optional<Json::Value> Ledger::expected_body(const Progress& done, const Command& command,
                                                 std::string& problem) {
    const Place& place = places_[command.object];
    const Light& light = lights_[place.light];
    const int value = number_of(command.payload);
    if (place.role == "on_off") {
        const auto known = light.known.find("on_off");
        const bool is_known = known != light.known.end() && known->second;
        const bool is_needless = is_known ? known->second->front() == value : !done.body;
        return is_needless || value > 1 ? std::nullopt : std::optional(switched(value == 1));
    }
    const bool is_color = place.role != "value" && place.role != "temperature";
    auto body =
        is_color ? expected_color(light, place, command) : conversions_.sent(place.role, value);
    if (!body && is_channel(place.role)) {
        return done.body;  // the other channels are unknown, or the table has no such colour
    }
    if (!body) {
        problem = "no row of conversions.txt says what is sent";
        return std::nullopt;
    }
    if (body->isMember("on")) {
        return body;
    }
    if (!is_color) {
        if (done.state.isNull()) {
            problem = "the light's state was not read";
            return std::nullopt;
        }
        const std::string member = body->getMemberNames().front();
        const bool shows_color = place.role == "temperature" && done.state.isMember("hue") &&
                                 done.state["colormode"].asString() != "ct";
        if (done.state[member] == (*body)[member] && !shows_color) {
            body->removeMember(member);
        }
    }
    const std::optional<bool> is_on =
        done.state.isNull() ? light.is_on : std::optional(done.state["on"].asBool());
    if (is_on ? !*is_on : done.body && done.body->isMember("on")) {
        (*body)["on"] = true;
    }
    return body->empty() ? std::nullopt : body;
}

std::optional<Json::Value> Ledger::expected_color(const Light& light, const Place& place,
                                                  const Command& command) const {
    if (place.role == "hsv") {
        return conversions_.sent("hsv", number_of(command.payload));
    }
    Numbers rgb;
    for (const char* role : {"r", "g", "b"}) {
        const auto known = light.known.find(role);
        const bool is_commanded = place.role == role;
        if (!is_commanded && (known == light.known.end() || !known->second)) {
            return std::nullopt;
        }
        rgb.push_back(is_commanded ? number_of(command.payload) & 255 : known->second->front());
    }
    return conversions_.sent_color(rgb);
}

// What the daemon stores without reading the light again, and the core's own value.
void Ledger::apply(const Command& command, bool is_off) {
    const Place& place = places_[command.object];
    const int value = number_of(command.payload);
    if (!is_off || place.role == "on_off") {  // a colour that means off leaves the light's colour
        core_values_[command.object] = command.payload;
    }
    if (place.role == "on_off" || is_channel(place.role) || (place.role == "value" && value == 0)) {
        lights_[place.light].known[place.role] =
            Numbers{is_channel(place.role) ? value & 255 : value};
    }
}

// Requests
// -----------------------------------------------------------------------------------------

void Ledger::add_exchange(const Gate::Request& request, const std::string& answer) {
    const Lock lock(mutex_);
    if (request.start < daemon_start_) {
        return;  // of the daemon before, answered after its end
    }
    ++counts_.requests;
    check_pace(request.start);
    close_poll();
    const std::string path = Gate::without_user(request.path);
    const Json::Value json = parse_json(answer).value_or(Json::Value());
    int light = 0;
    if (path == "/lights" && request.method == "GET") {
        settle();
        open_poll(request, json);
    } else if (std::sscanf(path.c_str(), "/lights/%d", &light) == 1) {
        take_light_request(request, light, json);
    } else if (path != "/") {  // all of it, before the first read of a light
        add_problem("an unexpected request: " + request.method + " " + path);
    }
}

void Ledger::take_light_request(const Gate::Request& request, int light,
                                const Json::Value& answer) {
    if (misses_log_lines_ && last_poll_ && (!progress_ || progress_->body) && !waiting_.empty()) {
        const Command& next = commands_[waiting_.front()];
        begin(next.object, number_of(next.payload));
    }
    const bool is_of_command =
        progress_ && places_[commands_[progress_->command].object].light == light;
    if (request.method == "GET") {
        const Json::Value& state =
            answer.isObject() ? answer["state"] : Json::Value::nullSingleton();
        if (state.isObject()) {
            is_of_command ? void(progress_->state = state) : store(light, state);
            lights_[light].is_on = state["on"].asBool();
        }
        return;
    }
    last_command_ = request.start;
    if (!is_of_command) {
        add_problem("a request without a command: " + request.method + " " + request.path);
        return;
    }
    const Json::Value body = parse_json(request.body).value_or(Json::Value());
    if (progress_->body && *progress_->body != body) {
        add_problem("a second request for one command: " + compact_json(body));
    }
    progress_->body = body;
    progress_->is_accepted = is_success(answer);
}

// A request that reaches the bridge late is followed by a shorter gap. Therefore the measure is how
// far the requests are ahead of an even pace; one delay counts only once.
void Ledger::check_pace(Clock::time_point start) {
    if (last_request_) {
        const auto gap = duration_cast<milliseconds>(start - *last_request_);
        counts_.smallest_gap = counts_.requests == 2 ? gap : std::min(counts_.smallest_gap, gap);
        counts_.largest_lead =
            std::max(counts_.largest_lead, duration_cast<milliseconds>(slot_ - start));
    }
    last_request_ = start;
    slot_ = std::max(slot_, start) + kPace;
}

// Polls
// --------------------------------------------------------------------------------------------

void Ledger::open_poll(const Gate::Request& request, const Json::Value& answer) {
    for (const auto& earlier : {last_poll_, last_command_}) {
        counts_.early_polls += earlier && request.start - *earlier < kPollPeriod ? 1 : 0;
    }
    ++counts_.polls;
    last_poll_ = request.start;
    const bool has_lights =
        answer.isObject() && std::all_of(answer.begin(), answer.end(), [](const auto& light) {
            return light.isObject() && light.isMember("state");
        });
    if (has_lights) {
        poll_ = Poll{answer, {}, false};
    }
}

bool Ledger::must_report(int object, const Json::Value& state) const {
    const Place& place = places_.at(object);
    const auto& known = lights_.at(place.light).known;
    const auto before = known.find(place.role);
    const auto now = conversions_.compared(place.role, state);
    return place.is_reported && before != known.end() && before->second && now &&
           differ(*before->second, *now, Conversions::tolerance(place.role));
}

void Ledger::add_report(int object, const std::string& value) {
    const Lock lock(mutex_);
    ++counts_.reports;
    core_values_[object] = reports_[object] = value;
    const std::string text = "reported that " + text_of(object, value);
    const auto place = places_.find(object);
    if (!poll_ || place == places_.end()) {
        add_problem(text + (poll_ ? ", which has no role" : ", between two polls"));
        return;
    }
    const auto& [light, role, is_reported] = place->second;
    const Json::Value& state = poll_->lights[std::to_string(light)]["state"];
    const auto expected = conversions_.reported(role, state);
    const auto known = lights_[light].known.find(role);
    const bool is_known = known != lights_[light].known.end() && known->second;
    if (expected && *expected != value) {
        add_problem(text + " instead of " + *expected);
    } else if (!expected && (role == "value" || role == "temperature")) {
        add_problem(text + ", for which conversions.txt has no row");
    }
    if (!poll_->reported.insert(object).second ||
        (is_known && conversions_.compared(role, state) && !must_report(object, state))) {
        add_problem(text + ", which did not change");
    }
}

void Ledger::close_poll() {
    if (!poll_) {
        return;
    }
    for (auto& [number, light] : lights_) {
        const Json::Value& state = poll_->lights[std::to_string(number)]["state"];
        if (!state.isObject()) {
            continue;  // removed from the bridge
        }
        light.is_on = state["on"].asBool();
        for (const auto& [role, object] : light.objects) {
            const bool is_missing =
                poll_->reported.count(object) == 0 && must_report(object, state);
            if (is_missing && !poll_->was_interrupted) {
                add_problem("not reported: " +
                            text_of(object, conversions_.reported(role, state).value_or("?")));
            }
            light.known[role] = conversions_.compared(role, state);
            if (is_missing) {  // reported later, or lost with its line
                light.known[role].reset();
                core_values_.erase(object);
            }
        }
    }
    poll_.reset();
}

void Ledger::store(int light, const Json::Value& state) {
    for (const auto& [role, object] : lights_[light].objects) {
        lights_[light].known[role] = conversions_.compared(role, state);
    }
}

// Results
// ------------------------------------------------------------------------------------------

void Ledger::add_problem(const std::string& problem) {
    if (problems_.size() < kKeptProblems) {
        problems_.push_back(problem);
    }
}

Ledger::Counts Ledger::counts() const {
    const Lock lock(mutex_);
    Counts counts = counts_;
    counts.sent = commands_.size();
    std::size_t* const ended[] = {&counts.waiting, &counts.done,    &counts.needless,
                                  &counts.failed,  &counts.dropped, &counts.lost};
    for (std::size_t i = 0; i < std::size(ended); ++i) {
        *ended[i] = ended_[i];
    }
    const bool is_done = progress_ && progress_->is_accepted;
    counts.done += is_done ? 1 : 0;
    counts.waiting = waiting_.size() + (progress_ && !is_done ? 1 : 0);
    return counts;
}

std::vector<Ledger::Command> Ledger::last_commands(std::size_t count) const {
    const Lock lock(mutex_);
    return {commands_.end() - static_cast<std::ptrdiff_t>(std::min(count, commands_.size())),
            commands_.end()};
}

std::optional<bool> Ledger::known_on(int light) const {
    const Lock lock(mutex_);
    const Json::Value polled =
        poll_ ? poll_->lights[std::to_string(light)]["state"]["on"] : Json::Value();
    if (polled.isBool()) {
        return polled.asBool();
    }
    const auto found = lights_.find(light);
    if (found == lights_.end() || !found->second.known.count("on_off") ||
        !found->second.known.at("on_off")) {
        return std::nullopt;
    }
    return found->second.known.at("on_off")->front() == 1;
}

std::optional<std::string> Ledger::value(int object) const {
    const Lock lock(mutex_);
    const auto found = reports_.find(object);
    return found == reports_.end() ? std::nullopt : std::optional(found->second);
}

void Ledger::forget_value(int object) {
    const Lock lock(mutex_);
    reports_.erase(object);
}

std::vector<std::string> Ledger::differences(const std::map<int, Json::Value>& states) const {
    const Lock lock(mutex_);
    std::vector<std::string> lines;
    for (const auto& [object, value] : core_values_) {
        const auto place = places_.find(object);
        const auto state = place == places_.end() ? states.end() : states.find(place->second.light);
        const auto shown = state == states.end()
                               ? std::nullopt
                               : conversions_.reported(place->second.role, state->second);
        const auto split = [&](const std::string& text) {
            const int number = number_of(text);
            return place->second.role == "hsv"
                       ? Numbers{number >> 16, (number >> 8) & 255, number & 255}
                       : Numbers{number};
        };
        if (shown &&
            differ(split(*shown), split(value), Conversions::tolerance(place->second.role))) {
            lines.push_back("object " + std::to_string(object) + " is " + value +
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
