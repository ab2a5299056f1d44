#include "simulator/SoakShadow.h"

#include <cstdlib>
#include <tuple>
#include <utility>

#include "hue_handler/UnitConversion.h"
#include "huelib/ColorConversion.h"

namespace simulator {
namespace {

using hue_handler::HueLightState;

constexpr int kHueTolerance = 150;
constexpr int kTolerance = 5;  // of a channel, a saturation, a brightness

constexpr struct {
    const char* name;
    Role role;
    int HueLightState::*object;
} kRoles[] = {
    {"on_off", Role::on_off, &HueLightState::on_off_object},
    {"value", Role::value, &HueLightState::value_object},
    {"temperature", Role::temperature, &HueLightState::temperature_object},
    {"r", Role::r, &HueLightState::r_object},
    {"g", Role::g, &HueLightState::g_object},
    {"b", Role::b, &HueLightState::b_object},
    {"hsv", Role::hsv, &HueLightState::hsv_object},
};

bool differs(int a, int b, int tolerance) {
    return std::abs(a - b) > tolerance;
}

RGB rgb_of(const Json::Value& state) {
    return ColorConversion::rgbOfBridge(state["hue"].asUInt(), state["sat"].asUInt(),
                                        state["bri"].asUInt());
}

HSVColor hsv_of(const Json::Value& state) {
    return ColorConversion::hsvOfBridge(state["hue"].asUInt(), state["sat"].asUInt(),
                                        state["bri"].asUInt());
}

Json::Value switched(bool on) {
    Json::Value body;
    body["on"] = on;
    return body;
}

// A brightness or colour temperature is sent only when it changes something. For a light that shows
// a colour, a temperature always does.
std::optional<Json::Value> changed(const Json::Value& seen, const char* member, unsigned value) {
    Json::Value body(Json::objectValue);
    if (!seen["on"].asBool()) {
        body["on"] = true;
    }
    const bool shows_color =
        member == std::string("ct") && seen.isMember("hue") && seen["colormode"].asString() != "ct";
    if (seen[member].asUInt() != value || shows_color) {
        body[member] = value;
    }
    return body.empty() ? std::nullopt : std::optional<Json::Value>(body);
}

// A colour is sent whole; black is off. Whether the light is on comes from the last state read.
Json::Value coloured(const Json::Value& seen, const HSVColor& color) {
    if (color.hue == 0 && color.saturation == 0 && color.value == 0) {
        return switched(false);
    }
    Json::Value body;
    if (!seen["on"].asBool()) {
        body["on"] = true;
    }
    body["hue"] = ColorConversion::bridgeHueOf(color.hue);
    body["sat"] = color.saturation;
    body["bri"] = color.value;
    return body;
}

}  // namespace

// Compares the actual reports with the expected ones.
class SoakShadow::ReportCheck final {
  public:
    ReportCheck(const std::vector<Core::Report>& reports, bool was_cut)
        : reported_(reports), was_cut_(was_cut) {}

    /// Expects this report next; false when the daemon stopped after it.
    bool next(int object, const std::string& value) {
        if (at_ == reported_.size()) {
            note("no report that object " + std::to_string(object) + " is " + value);
            return true;
        }
        const Core::Report& report = reported_[at_++];
        if (report.object != object || report.value != value) {
            note("reported that object " + std::to_string(report.object) + " is " + report.value +
                 " instead of object " + std::to_string(object) + " is " + value);
        }
        return !was_cut_ || at_ < reported_.size();
    }
    std::string end() {
        if (at_ < reported_.size()) {
            note("unexpected report that object " + std::to_string(reported_[at_].object) + " is " +
                 reported_[at_].value);
        }
        return problem_;
    }

  private:
    void note(const std::string& problem) { problem_ = problem_.empty() ? problem : problem_; }

    const std::vector<Core::Report>& reported_;
    bool was_cut_;
    std::size_t at_ = 0;
    std::string problem_;  // the first
};

SoakShadow::SoakShadow(const std::vector<House::RoleObject>& objects) {
    for (const House::RoleObject& object : objects) {
        for (const auto& role : kRoles) {
            if (object.role == role.name) {
                places_[object.id] = {object.light, role.role};
                lights_[object.light].stored.*role.object = object.id;
            }
        }
    }
}

void SoakShadow::set_initial_state(int light, const Json::Value& description) {
    refresh(light, description);
    const Json::Value& seen = lights_[light].seen;
    HueLightState& stored = lights_[light].stored;
    stored.on = seen["on"].asBool();
    stored.brightness = seen["bri"].asUInt();
    stored.color_temperature = seen["ct"].asUInt();
    const RGB rgb = rgb_of(seen);
    std::tie(stored.red, stored.green, stored.blue) = std::tie(rgb.r, rgb.g, rgb.b);
    const HSVColor hsv = hsv_of(seen);
    std::tie(stored.hue, stored.saturation, stored.value) =
        std::tie(hsv.hue, hsv.saturation, hsv.value);
}

void SoakShadow::refresh(int light, const Json::Value& description) {
    lights_[light].seen = description["state"];
}

bool SoakShadow::needs_refresh(const SoakCommand& command) const {
    const Role role = place(command).role;
    return role == Role::temperature || (role == Role::value && command.value != 0);
}

std::optional<Json::Value> SoakShadow::expected_request(const SoakCommand& command) const {
    const Entry& entry = lights_.at(place(command).light);
    switch (place(command).role) {
        case Role::on_off: {
            const bool on = command.value == 1;
            return entry.stored.on == on ? std::nullopt : std::optional<Json::Value>(switched(on));
        }
        case Role::value:
            return command.value == 0 ? switched(false)
                                      : changed(entry.seen, "bri",
                                                hue_handler::brightness_of_percent(command.value));
        case Role::temperature:
            return changed(entry.seen, "ct", hue_handler::mired_of_percent(command.value));
        case Role::hsv:
            return coloured(entry.seen, hue_handler::hsv_of_word(command.value));
        default: {
            const HueLightState state = with_channel(command);
            return coloured(entry.seen,
                            ColorConversion::hsvOfRGB(state.red, state.green, state.blue));
        }
    }
}

HueLightState SoakShadow::with_channel(const SoakCommand& command) const {
    HueLightState state = lights_.at(place(command).light).stored;
    const auto byte = static_cast<std::uint8_t>(command.value);
    const Role role = place(command).role;
    (role == Role::r ? state.red : role == Role::g ? state.green : state.blue) = byte;
    return state;
}

void SoakShadow::apply(const SoakCommand& command) {
    HueLightState& stored = lights_.at(place(command).light).stored;
    switch (place(command).role) {
        case Role::on_off:
            stored.on = command.value == 1;
            break;
        case Role::value:
            stored.brightness = command.value == 0 ? 0 : stored.brightness;
            break;
        case Role::r:
        case Role::g:
        case Role::b:
            stored = with_channel(command);
            break;
        default:
            break;
    }
}

std::string SoakShadow::check_poll(const Json::Value& lights,
                                   const std::vector<Core::Report>& reports, bool was_cut) {
    ReportCheck check(reports, was_cut);
    for (auto& [number, entry] : lights_) {
        refresh(number, lights[std::to_string(number)]);
    }
    for (auto& [number, entry] : lights_) {
        if (!report_light(entry, check)) {
            break;
        }
    }
    return check.end();
}

bool SoakShadow::report_light(Entry& entry, ReportCheck& reports) {
    HueLightState& stored = entry.stored;
    const bool on = entry.seen["on"].asBool();
    if (std::exchange(stored.on, on) != on && !reports.next(stored.on_off_object, on ? "1" : "0")) {
        return false;
    }
    const unsigned bri = entry.seen["bri"].asUInt();
    if (std::exchange(stored.brightness, bri) != bri &&
        !reports.next(stored.value_object,
                      std::to_string(hue_handler::percent_of_brightness(bri)))) {
        return false;
    }
    const unsigned mired = entry.seen["ct"].asUInt();
    if (stored.temperature_object != 0 && std::exchange(stored.color_temperature, mired) != mired &&
        !reports.next(stored.temperature_object,
                      std::to_string(hue_handler::percent_of_mired(mired)))) {
        return false;
    }
    return stored.hsv_object == 0 || (report_rgb(entry, reports) && report_hsv(entry, reports));
}

bool SoakShadow::report_rgb(Entry& entry, ReportCheck& reports) {
    HueLightState& stored = entry.stored;
    const RGB now = rgb_of(entry.seen);
    const struct {
        std::uint8_t& stored;
        std::uint8_t now;
        int object;
    } channels[] = {{stored.red, now.r, stored.r_object},
                    {stored.green, now.g, stored.g_object},
                    {stored.blue, now.b, stored.b_object}};
    for (const auto& channel : channels) {
        const int before = std::exchange(channel.stored, channel.now);
        if (differs(before, channel.now, kTolerance) &&
            !reports.next(channel.object, std::to_string(channel.now))) {
            return false;
        }
    }
    return true;
}

bool SoakShadow::report_hsv(Entry& entry, ReportCheck& reports) {
    HueLightState& stored = entry.stored;
    const HSVColor now = hsv_of(entry.seen);
    const bool is_reported = differs(stored.hue, now.hue, kHueTolerance) ||
                             differs(stored.saturation, now.saturation, kTolerance) ||
                             differs(stored.value, now.value, kTolerance);
    std::tie(stored.hue, stored.saturation, stored.value) =
        std::tie(now.hue, now.saturation, now.value);
    return !is_reported || reports.next(stored.hsv_object, hue_handler::text_of_hsv(
                                                               now.hue, now.saturation, now.value));
}

}  // namespace simulator
