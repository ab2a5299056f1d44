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

// Lines that are expected when the bridge reboots and when the daemon ends. They belong to no
// command.
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

// True when the bulb shows what was commanded. Colours are not compared: rounding changes them.
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

void SoakLedger::set_objects(const std::vector<House::RoleObject>& objects) {
    const Lock lock(mutex_);
    shadow_ = SoakShadow(objects);
}

void SoakLedger::add_command(const SoakCommand& command) {
    const Lock lock(mutex_);
    ++counts_.sent;
    waiting_.push_back(command);
}

void SoakLedger::add_acknowledgement() {
    const Lock lock(mutex_);
    ++counts_.acknowledged;
}

void SoakLedger::add_log_line(const std::string& text) {
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
    CommandInProgress* const in_progress = unsettled_.empty() ? nullptr : &unsettled_.back();
    if (begins_with(text, kCommandFailure) && in_progress != nullptr &&
        in_progress->failure.empty()) {
        in_progress->failure = text;
    } else if (begins_with(text, kRefusal) && in_progress != nullptr &&
               in_progress->refusal.empty()) {
        in_progress->refusal = text;
    } else if (begins_with(text, kCut)) {
        was_cut_ = true;
    } else if (std::sscanf(text.c_str(), "error: %zu requests dropped, ", &dropped) == 1) {
        counts_.dropped += dropped;
    } else if (std::none_of(std::begin(kKnownErrors), std::end(kKnownErrors),
                            [&text](const char* known) { return begins_with(text, known); })) {
        add_fault("unexpected line: " + text);
    }
}

void SoakLedger::begin(const SoakCommand& command) {
    if (!open_poll_) {
        settle();
    }
    if (waiting_.empty() || waiting_.front().object != command.object ||
        waiting_.front().value != command.value) {
        add_fault("out of order: " + text_of(command));
    }
    if (!waiting_.empty()) {
        waiting_.pop_front();
    }
    unsettled_.push_back({command, {}, {}, {}});
}

void SoakLedger::settle(std::size_t kept) {
    for (; unsettled_.size() > kept; unsettled_.pop_front()) {
        const CommandInProgress& done = unsettled_.front();
        const Verdict verdict = judge(done);
        ++(counts_.*verdict.kind);
        if (!verdict.problem.empty()) {
            add_fault("lost: " + text_of(done.command) + ", " + verdict.problem);
        }
    }
}

SoakLedger::Verdict SoakLedger::judge(const CommandInProgress& done) {
    const SoakCommand& command = done.command;
    const int light = shadow_.place(command).light;
    auto next = done.exchanges.begin();
    const auto end = done.exchanges.end();
    const auto lost = [](const std::string& problem) { return Verdict{&Counts::lost, problem}; };

    const bool was_asked = next != end && next->request == "GET " + path_of(light);
    if (shadow_.needs_refresh(command) && was_asked) {
        shadow_.refresh(light, next->answer);
        ++next;
    } else if (shadow_.needs_refresh(command) && done.failure.empty()) {
        return lost("the light's state was not requested");
    }
    const std::string name = "(light id = " + std::to_string(light) + ")";
    if (!done.failure.empty()) {
        return done.failure.find(name) == std::string::npos ? lost(done.failure)
                                                            : Verdict{&Counts::failed, ""};
    }
    const auto wanted = shadow_.expected_request(command);
    shadow_.apply(command);
    core_values_[command.object].commanded = command.value;
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

void SoakLedger::add_exchange(const Gate::Request& request, const std::string& answer,
                              const std::vector<Core::Report>& reports) {
    const Lock lock(mutex_);
    ++counts_.requests;
    check_pace(request.start);
    close_poll(reports);
    settle(1);
    const std::string path = Gate::without_user(request.path);
    const auto json = parse_json(answer);
    if (!json) {
        add_fault("invalid JSON: " + answer);
    } else if (path == "/lights") {
        settle();
        ++counts_.polls;
        open_poll_ = *json;
    } else if (counts_.polls == 0) {
        int light = 0;
        if (std::sscanf(path.c_str(), "/lights/%d", &light) == 1) {
            shadow_.set_initial_state(light, *json);
        }
    } else if (!unsettled_.empty()) {
        const auto body = parse_json(request.body);
        const bool has_body = body && !body->empty();
        unsettled_.back().exchanges.push_back(
            {request.method + " " + path + (has_body ? " " + compact_json(*body) : ""), *json});
    } else {
        add_fault("a request without a command: " + request.method + " " + path);
    }
}

void SoakLedger::close_poll(const std::vector<Core::Report>& reports) {
    counts_.reports += reports.size();
    for (const Core::Report& report : reports) {
        core_values_[report.object] = {report.value, std::nullopt};
    }
    if (open_poll_) {
        const std::string problem = shadow_.check_poll(*open_poll_, reports, was_cut_);
        if (!problem.empty()) {
            add_fault("poll " + std::to_string(counts_.polls) + ": " + problem);
        }
        reports_of_a_poll_ = reports.size();
        open_poll_.reset();
        was_cut_ = false;
    } else if (!reports.empty()) {
        add_fault("reported between polls: object " + std::to_string(reports.front().object));
    }
}

// A request that reaches the bridge late is followed by a shorter gap. Therefore the measure is how
// far the requests are ahead of an even pace; one delay counts only once.
void SoakLedger::check_pace(std::chrono::steady_clock::time_point start) {
    if (last_start_) {
        smallest_gap_ = std::min(smallest_gap_, start - *last_start_);
        largest_lead_ = std::max(largest_lead_, slot_ - start);
    }
    last_start_ = start;
    slot_ = std::max(slot_, start) + kPace;
}

void SoakLedger::finish() {
    const Lock lock(mutex_);
    settle();
}

void SoakLedger::add_fault(const std::string& fault) {
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

std::string SoakLedger::compare(int object, const Json::Value& state, bool is_reported) const {
    const Lock lock(mutex_);
    const Role role = shadow_.places().at(object).role;
    const std::string shown = reported_text(role, state);
    const auto found = core_values_.find(object);
    const CoreValue core_value = found == core_values_.end() ? CoreValue{} : found->second;
    if (core_value.reported == shown ||
        (!is_reported && !core_value.reported && !core_value.commanded) ||
        (core_value.commanded && (!is_reported || role == Role::on_off) &&
         shows(role, *core_value.commanded, state))) {
        return {};
    }
    return "object " + std::to_string(object) + ": the bulb shows " + shown + ", the core " +
           (core_value.reported ? "has the report " + *core_value.reported : "has no report") +
           (core_value.commanded ? " and the command " + std::to_string(*core_value.commanded)
                                 : "");
}

}  // namespace simulator
