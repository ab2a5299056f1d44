// The comparison at the end: the core's values, what the daemon stored, and the bulbs.
#include <algorithm>

#include "simulator/Soak.h"

namespace simulator {
namespace {

constexpr std::chrono::seconds kPollLimit{60};
constexpr int kMostPolls = 10;  // a slow core spreads its reports over several

constexpr int kColorTolerance = 5;
constexpr int kLargestBrightness = 254;
constexpr int kLargestMired = 500;

bool is_color(const std::string& role) {
    return role != "on_off" && role != "value" && role != "temperature";
}

Json::Value color(int hue, int saturation, int brightness) {
    Json::Value change;
    change["hue"] = hue;
    change["sat"] = saturation;
    change["bri"] = brightness;
    return change;
}

int moved(int value, int step, int largest) {
    return value + step <= largest ? value + step : value - step;
}

// A change of the saturation within the tolerance: the daemon stores it without a report.
Json::Value drift(const Json::Value& state) {
    Json::Value change(Json::objectValue);
    if (state.isMember("sat")) {
        change["sat"] = moved(state["sat"].asInt(), kColorTolerance, kLargestBrightness);
    }
    return change;
}

// The smallest changes that must be reported. The reports are right only if the daemon stored the
// exact state before.
Json::Value smallest_reported_change(const Json::Value& state) {
    Json::Value change;
    change["on"] = !state["on"].asBool();
    change["bri"] = moved(state["bri"].asInt(), 1, kLargestBrightness);
    if (state.isMember("ct")) {
        change["ct"] = moved(state["ct"].asInt(), 1, kLargestMired);
    }
    if (state.isMember("sat")) {
        change["sat"] = moved(state["sat"].asInt(), kColorTolerance + 1, kLargestBrightness);
    }
    return change;
}

// From red to cyan every channel changes, and the saturation too: a change of the hue alone may
// stay unreported.
Json::Value turn_red(const Json::Value& state) {
    return state.isMember("sat") ? color(0, 254, 254) : Json::Value(Json::objectValue);
}

Json::Value turn_cyan(const Json::Value& state) {
    return state.isMember("sat") ? color(32768, 240, 240) : Json::Value(Json::objectValue);
}

}  // namespace

// A change that is made after a poll has begun is seen by the next one.
void Soak::compare_truths() {
    for (int polls = 0; polls < 2 || (ledger_.reports_of_a_poll() > 0 && polls < kMostPolls);
         ++polls) {
        wait_for_poll();
    }
    check(ledger_.reports_of_a_poll() == 0, "reports continue although nothing changes");
    compare(false);

    change_each(drift);
    wait_for_poll();
    change_each(smallest_reported_change);
    wait_for_poll();
    check(ledger_.reports_of_a_poll() == 0, "a drift within the tolerance was reported");
    change_each(turn_red);
    wait_for_poll();
    const auto least = static_cast<std::size_t>(
        std::count_if(objects_.begin(), objects_.end(), [](const House::RoleObject& object) {
            return !is_color(object.role) || object.role == "hsv";
        }));
    print_("a change at each bulb: " + std::to_string(ledger_.reports_of_a_poll()) +
           " reports, at least " + std::to_string(least) + " expected");
    change_each(turn_cyan);
    wait_for_poll();
    wait_for_poll();
    compare(true);
}

void Soak::wait_for_poll() {
    const std::size_t before = ledger_.counts().polls;
    check(wait_until([&] { return ledger_.counts().polls > before; }, kPollLimit),
          "the daemon stopped polling");
}

// Colours are compared only after every value was reported: a colour that drifts within the
// tolerance from poll to poll is not reported, and may end far from the last report.
void Soak::compare(bool is_reported) {
    std::size_t compared = 0;
    for (const House::RoleObject& object : objects_) {
        if (is_reported || !is_color(object.role)) {
            ++compared;
            const std::string difference =
                ledger_.compare(object.id, house_.light(object.light).state(), is_reported);
            check(difference.empty(), difference);
        }
    }
    print_(std::to_string(compared) + " objects compared with the bulbs" +
           (is_reported ? ", including colours" : ""));
}

void Soak::change_each(const std::function<Json::Value(const Json::Value& state)>& change) {
    for (const int light : lights_) {
        const Json::Value members = change(house_.light(light).state());
        if (!members.empty()) {
            house_.light(light).change(members);
        }
    }
}

}  // namespace simulator
