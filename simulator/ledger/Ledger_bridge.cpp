// Requests to the bridge, polls, and the reports to the core.
#include <algorithm>
#include <cstdio>

#include "simulator/JsonText.h"
#include "simulator/ledger/Ledger.h"

namespace simulator {
namespace {

using Lock = std::lock_guard<std::mutex>;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

// The kernel gives the time of an arrival in steps of its clock. No daemon asks so soon after its
// start.
constexpr milliseconds kArrivalError{5};

bool is_success(const Json::Value& answer) {
    return answer.isArray() && std::all_of(answer.begin(), answer.end(), [](const auto& element) {
               return element.isMember("success");
           });
}

bool has_states(const Json::Value& lights) {
    return lights.isObject() && std::all_of(lights.begin(), lights.end(), [](const auto& light) {
               return light.isObject() && light.isMember("state");
           });
}

}  // namespace

void Ledger::add_exchange(const Gate::Request& request, const std::string& answer) {
    const Lock lock(mutex_);
    if (request.start < daemon_start_ + kArrivalError) {
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
        if (misses_log_lines_ && last_poll_ && (!progress_ || progress_->body) &&
            !waiting_.empty()) {
            const Command& next = *waiting_.front();
            begin(next.object, number_of(next.payload));
        }
        request.method == "GET" ? take_read(light, json) : take_put(request, light, json);
    } else if (path != "/") {  // all of it, before the first read of a light
        add_problem("an unexpected request: " + request.method + " " + path);
    }
}

void Ledger::take_read(int light, const Json::Value& answer) {
    if (!answer.isObject() || !answer["state"].isObject()) {
        return;
    }
    if (is_of_command(light)) {
        progress_->state = answer["state"];
    } else {
        store(light, answer["state"]);
    }
    is_on_[light] = answer["state"]["on"].asBool();
}

void Ledger::take_put(const Gate::Request& request, int light, const Json::Value& answer) {
    last_command_ = request.start;
    if (!is_of_command(light)) {
        add_problem("a request without a command: " + request.method + " " + request.path);
        return;
    }
    const Json::Value body = parse_json(request.body).value_or(Json::Value());
    if (progress_->body && *progress_->body != body) {
        add_problem("a second request for one command: " + compact_json(body));
    }
    progress_->body = body;
    progress_->command->outcome = is_success(answer) ? Outcome::done : Outcome::waiting;
}

void Ledger::store(int light, const Json::Value& state) {
    for (auto& [id, object] : objects_) {
        if (object.light == light) {
            object.known =
                state.isNull() ? std::nullopt : conversions_.compared(object.role, state);
        }
    }
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

void Ledger::open_poll(const Gate::Request& request, const Json::Value& answer) {
    for (const auto& earlier : {last_poll_, last_command_}) {
        counts_.early_polls += earlier && request.start - *earlier < kPollPeriod ? 1 : 0;
    }
    ++counts_.polls;
    last_poll_ = request.start;
    if (has_states(answer)) {
        poll_ = Poll{answer};
    }
}

bool Ledger::must_report(const Object& object, const Json::Value& state) const {
    const auto now = conversions_.compared(object.role, state);
    return object.is_reported && object.known && now &&
           Conversions::differ(object.role, *object.known, *now);
}

void Ledger::add_report(int id, const std::string& value) {
    const Lock lock(mutex_);
    ++counts_.reports;
    const std::string text = "reported that object " + std::to_string(id) + ": " + value;
    Object& object = objects_[id];
    object.core = object.report = value;
    object.is_commanded = false;
    if (!poll_ || object.light == 0) {
        add_problem(text + (poll_ ? ", which has no role" : ", between two polls"));
        return;
    }
    const Json::Value& state = poll_->state(object.light);
    const auto expected = conversions_.reported(object.role, state);
    const auto now = conversions_.compared(object.role, state);
    if (expected && *expected != value) {
        add_problem(text + " instead of " + *expected);
    } else if (!expected && now) {
        add_problem(text + ", for which conversions.txt has no row");
    }
    if (!poll_->reported.insert(id).second ||
        (object.known && now && !must_report(object, state))) {
        add_problem(text + ", which did not change");
    }
}

void Ledger::close_poll() {
    if (!poll_) {
        return;
    }
    for (auto& [id, object] : objects_) {
        const Json::Value& state = poll_->state(object.light);
        if (state.isObject()) {  // else removed from the bridge
            is_on_[object.light] = state["on"].asBool();
            close_poll(id, object, state);
        }
    }
    poll_.reset();
}

// Of one object.
void Ledger::close_poll(int id, Object& object, const Json::Value& state) {
    const auto shown = conversions_.reported(object.role, state);
    const bool is_silent = poll_->reported.count(id) == 0;
    const bool is_missing = is_silent && must_report(object, state);
    if (is_missing && !poll_->was_interrupted) {
        add_problem("not reported: object " + std::to_string(id) + ": " + shown.value_or("?"));
    }
    // The light has been set back to the value that it had before a command: to the daemon, which
    // stores no such value itself, nothing has changed.
    const bool is_set_back =
        is_silent && object.is_commanded && object.known && object.core && shown &&
        Conversions::differ(object.role, Conversions::parts(object.role, *shown),
                            Conversions::parts(object.role, *object.core));
    object.known = conversions_.compared(object.role, state);
    if (is_missing) {  // reported later, or lost with its line
        object.known.reset();
    }
    if (is_missing || is_set_back) {
        object.core.reset();
    }
}

}  // namespace simulator
