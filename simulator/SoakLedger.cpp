#include "simulator/SoakLedger.h"

#include <algorithm>
#include <cstdio>

#include "hue_handler/UnitConversion.h"
#include "huelib/ColorConversion.h"
#include "simulator/JsonText.h"

namespace simulator {
namespace {

using Lock = std::lock_guard<std::mutex>;

constexpr const char* kCommandFailure = "error: Request manager thread error: ";
constexpr const char* kRefusal = "error: HueLight->SendPutRequest the bridge refused the request: ";
constexpr const char* kCut = "error: Monitoring thread - the core is slow";

// Lines that a bridge which reboots and an end on request bring, and that no command waits for.
constexpr const char* kKnownErrors[] = {
    "error: Monitoring thread error: ",
    "error: HueLight->SendPutRequest the bridge refused the request: ",  // counted by the answer
    "error: Skipping light state updates, unable to retrieve a refreshed state from bridge",
    "error: lumivad will terminate soon",
    "error: Exit from execute_request thread:",
    "error: Exit from state_monitor thread:",
};

bool begins_with(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

std::string path_of(int light) {
    return "/lights/" + std::to_string(light);
}

std::string text_of(const SoakCommand& command) {
    return "object " + std::to_string(command.object) + ": " + std::to_string(command.value);
}

bool is_success(const Json::Value& answer) {
    return answer.isArray() && std::all_of(answer.begin(), answer.end(), [](const auto& element) {
               return element.isMember("success");
           });
}

// The value of a role as the monitor reports it.
std::string reported_text(Role role, const Json::Value& state) {
    const unsigned bri = state["bri"].asUInt();
    const RGB rgb = ColorConversion::rgbOfBridge(state["hue"].asUInt(), state["sat"].asUInt(), bri);
    const HSVColor hsv =
        ColorConversion::hsvOfBridge(state["hue"].asUInt(), state["sat"].asUInt(), bri);
    switch (role) {
        case Role::on_off:
            return state["on"].asBool() ? "1" : "0";
        case Role::value:
            return std::to_string(hue_handler::percent_of_brightness(bri));
        case Role::temperature:
            return std::to_string(hue_handler::percent_of_mired(state["ct"].asUInt()));
        case Role::r:
            return std::to_string(rgb.r);
        case Role::g:
            return std::to_string(rgb.g);
        case Role::b:
            return std::to_string(rgb.b);
        case Role::hsv:
            break;
    }
    return hue_handler::text_of_hsv(hsv.hue, hsv.saturation, hsv.value);
}

// True when the bulb shows what was commanded; a colour shows otherwise than it was commanded.
bool shows(Role role, int commanded, const Json::Value& state) {
    switch (role) {
        case Role::on_off:
            return state["on"].asBool() == (commanded == 1);
        case Role::value:
            return commanded == 0
                       ? !state["on"].asBool()
                       : state["bri"].asUInt() == hue_handler::brightness_of_percent(commanded);
        case Role::temperature:
            return state["ct"].asUInt() == hue_handler::mired_of_percent(commanded);
        default:
            return true;
    }
}

}  // namespace

void SoakLedger::knows(const std::vector<House::RoleObject>& objects) {
    const Lock lock(mutex_);
    shadow_ = SoakShadow(objects);
}

void SoakLedger::sends(const SoakCommand& command) {
    const Lock lock(mutex_);
    ++counts_.sent;
    waiting_.push_back(command);
}

void SoakLedger::is_acknowledged() {
    const Lock lock(mutex_);
    ++counts_.acknowledged;
}

void SoakLedger::takes_line(const std::string& text) {
    const Lock lock(mutex_);
    ++counts_.log_lines;
    SoakCommand command{};
    if (std::sscanf(text.c_str(), "info: -- Received request: obj_id %d, value %d", &command.object,
                    &command.value) == 2) {
        begin(command);
    } else if (begins_with(text, "error: ")) {
        take_error(text);
    }
}

void SoakLedger::take_error(const std::string& text) {
    std::size_t dropped = 0;
    UnderWay* const under_way = unsettled_.empty() ? nullptr : &unsettled_.back();
    if (begins_with(text, kCommandFailure) && under_way != nullptr && under_way->failure.empty()) {
        under_way->failure = text;
    } else if (begins_with(text, kRefusal) && under_way != nullptr && under_way->refusal.empty()) {
        under_way->refusal = text;
    } else if (begins_with(text, kCut)) {
        was_cut_ = true;
    } else if (std::sscanf(text.c_str(), "error: %zu requests dropped, ", &dropped) == 1) {
        counts_.dropped += dropped;
    } else if (std::none_of(std::begin(kKnownErrors), std::end(kKnownErrors),
                            [&text](const char* known) { return begins_with(text, known); })) {
        note("unexpected line: " + text);
    }
}

void SoakLedger::begin(const SoakCommand& command) {
    if (!open_poll_) {
        settle();
    }
    if (waiting_.empty() || waiting_.front().object != command.object ||
        waiting_.front().value != command.value) {
        note("out of order: " + text_of(command));
    }
    if (!waiting_.empty()) {
        waiting_.pop_front();
    }
    unsettled_.push_back({command, {}, {}, {}});
}

void SoakLedger::settle(std::size_t kept) {
    for (; unsettled_.size() > kept; unsettled_.pop_front()) {
        const UnderWay& done = unsettled_.front();
        const Verdict verdict = judge(done);
        ++(counts_.*verdict.kind);
        if (!verdict.problem.empty()) {
            note("lost: " + text_of(done.command) + ", " + verdict.problem);
        }
    }
}

SoakLedger::Verdict SoakLedger::judge(const UnderWay& done) {
    const SoakCommand& command = done.command;
    const int light = shadow_.place(command).light;
    auto next = done.exchanges.begin();
    const auto end = done.exchanges.end();
    const auto lost = [](const std::string& problem) { return Verdict{&Counts::lost, problem}; };

    const bool was_asked = next != end && next->request == "GET " + path_of(light);
    if (shadow_.asks_first(command) && was_asked) {
        shadow_.refreshes(light, next->answer);
        ++next;
    } else if (shadow_.asks_first(command) && done.failure.empty()) {
        return lost("the light was not asked for its state");
    }
    const std::string name = "(light id = " + std::to_string(light) + ")";
    if (!done.failure.empty()) {
        return done.failure.find(name) == std::string::npos ? lost(done.failure)
                                                            : Verdict{&Counts::failed, ""};
    }
    const auto wanted = shadow_.wanted(command);
    shadow_.carries_out(command);
    beliefs_[command.object].commanded = command.value;
    if (!wanted) {
        return next == end ? Verdict{&Counts::needless, ""} : lost("needless " + next->request);
    }
    const std::string request = "PUT " + path_of(light) + "/state " + compact_json(*wanted);
    if (next == end || next->request != request) {
        return lost((next == end ? "nothing" : next->request) + " instead of " + request);
    }
    if (next + 1 != end) {
        return lost("more than " + request);
    }
    if (is_success(next->answer)) {
        return done.refusal.empty() ? Verdict{&Counts::carried_out, ""} : lost(done.refusal);
    }
    const bool has_line = done.refusal.find(name) != std::string::npos;
    return has_line && wanted->isMember("hue") ? Verdict{&Counts::refused, ""}
                                               : lost("refused: " + compact_json(next->answer));
}

void SoakLedger::takes_exchange(const Gate::Request& request, const std::string& answer,
                                const std::vector<Core::Report>& told) {
    const Lock lock(mutex_);
    ++counts_.requests;
    keep_pace(request.start);
    close_poll(told);
    settle(1);
    const std::string path = Gate::without_user(request.path);
    const auto json = parse_json(answer);
    if (!json) {
        note("no JSON: " + answer);
    } else if (path == "/lights") {
        settle();
        ++counts_.polls;
        open_poll_ = *json;
    } else if (counts_.polls == 0) {
        int light = 0;
        if (std::sscanf(path.c_str(), "/lights/%d", &light) == 1) {
            shadow_.reads(light, *json);
        }
    } else if (!unsettled_.empty()) {
        const auto body = parse_json(request.body);
        const bool has_body = body && !body->empty();
        unsettled_.back().exchanges.push_back(
            {request.method + " " + path + (has_body ? " " + compact_json(*body) : ""), *json});
    } else {
        note("a request without a command: " + request.method + " " + path);
    }
}

void SoakLedger::close_poll(const std::vector<Core::Report>& told) {
    counts_.reports += told.size();
    for (const Core::Report& report : told) {
        beliefs_[report.object] = {report.value, std::nullopt};
    }
    if (open_poll_) {
        const std::string problem = shadow_.polls(*open_poll_, told, was_cut_);
        if (!problem.empty()) {
            note("poll " + std::to_string(counts_.polls) + ": " + problem);
        }
        reports_of_a_poll_ = told.size();
        open_poll_.reset();
        was_cut_ = false;
    } else if (!told.empty()) {
        note("told between polls: object " + std::to_string(told.front().object));
    }
}

// A request that was late on its way to the bridge leaves a shorter gap behind it. What counts is
// therefore how far the row is ahead of an even pace, which no lateness adds to twice.
void SoakLedger::keep_pace(std::chrono::steady_clock::time_point start) {
    if (last_start_) {
        smallest_gap_ = std::min(smallest_gap_, start - *last_start_);
        largest_lead_ = std::max(largest_lead_, slot_ - start);
    }
    last_start_ = start;
    slot_ = std::max(slot_, start) + kPace;
}

void SoakLedger::ends() {
    const Lock lock(mutex_);
    settle();
}

void SoakLedger::note(const std::string& fault) {
    ++fault_count_;
    if (faults_.size() < kKeptFaults) {
        faults_.push_back(fault);
    }
}

SoakLedger::Counts SoakLedger::counts() const {
    const Lock lock(mutex_);
    return counts_;
}

std::size_t SoakLedger::open() const {
    const Lock lock(mutex_);
    return waiting_.size() + unsettled_.size();
}

std::size_t SoakLedger::reports_of_a_poll() const {
    const Lock lock(mutex_);
    return reports_of_a_poll_;
}

std::chrono::milliseconds SoakLedger::largest_lead() const {
    const Lock lock(mutex_);
    return std::chrono::duration_cast<std::chrono::milliseconds>(largest_lead_);
}

std::chrono::milliseconds SoakLedger::smallest_gap() const {
    const Lock lock(mutex_);
    return std::chrono::duration_cast<std::chrono::milliseconds>(smallest_gap_);
}

std::vector<std::string> SoakLedger::faults() const {
    const Lock lock(mutex_);
    std::vector<std::string> faults = faults_;
    if (fault_count_ > faults.size()) {
        faults.push_back("and " + std::to_string(fault_count_ - faults.size()) + " more");
    }
    return faults;
}

std::string SoakLedger::compare(int object, const Json::Value& state, bool is_told) const {
    const Lock lock(mutex_);
    const Role role = shadow_.places().at(object).role;
    const std::string shown = reported_text(role, state);
    const auto found = beliefs_.find(object);
    const Belief belief = found == beliefs_.end() ? Belief{} : found->second;
    if (belief.told == shown || (!is_told && !belief.told && !belief.commanded) ||
        (belief.commanded && (!is_told || role == Role::on_off) &&
         shows(role, *belief.commanded, state))) {
        return {};
    }
    return "object " + std::to_string(object) + ": the bulb shows " + shown + ", the core " +
           (belief.told ? "was told " + *belief.told : "was told nothing") +
           (belief.commanded ? " and commanded " + std::to_string(*belief.commanded) : "");
}

}  // namespace simulator
