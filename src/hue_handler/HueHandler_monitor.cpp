// The thread that keeps the core's objects in step with the lights.
#include <cstdlib>
#include <exception>
#include <iterator>
#include <map>
#include <stdexcept>

#include "hue_handler/HueHandler.h"
#include "hue_handler/UnitConversion.h"
#include "libcbase/FSMCoreutil.h"
#include "libcbase/log.h"
#include "libtavcore/core_request.h"

namespace hue_handler {

// A new value for the core.
struct LightChange {
    int object_id;
    std::string value;
    std::string failure_line;  // logged if the core does not accept it; may be empty
};

namespace {

constexpr const char* kReportAction = "SETVALUE";
// The time that one pass may spend on reports; a core normally takes a few milliseconds for one.
constexpr std::chrono::seconds kReportsLimit{2};

constexpr std::uint32_t kRgbTolerance = 5;
constexpr std::uint32_t kHueTolerance = 150;  // of the 8-bit hue, 0..255
constexpr std::uint32_t kSaturationTolerance = 5;
constexpr std::uint32_t kHsvValueTolerance = 5;

bool differs(std::uint8_t a, std::uint8_t b, std::uint32_t tolerance) {
    return static_cast<std::uint32_t>(std::abs(int{a} - int{b})) > tolerance;
}

std::string object_line(const char* role, int object_id) {
    return std::string("!! ") + role + std::to_string(object_id) + " !!";
}

// Stores a value that differs and has an object to report it to; false for any other.
template <typename Value>
bool renew(Value& stored, Value now, int object_id) {
    if (now == stored || object_id < 1) {
        return false;
    }
    stored = now;
    return true;
}

void store(HueLightState& stored, const RGB& color) {
    stored.red = color.r;
    stored.green = color.g;
    stored.blue = color.b;
}

void store(HueLightState& stored, const HSVColor& color) {
    stored.hue = color.hue;
    stored.saturation = color.saturation;
    stored.value = color.value;
}

// Compares one role of a light, stores its new value and returns what to report, if anything.
using Comparison = std::optional<LightChange> (*)(const HueLight& light, HueLightState& stored);

std::optional<LightChange> compare_on_off(const HueLight& light, HueLightState& stored) {
    if (!renew(stored.on, light.isOn(), stored.on_off_object)) {
        return std::nullopt;
    }
    return LightChange{stored.on_off_object, stored.on ? "1" : "0", ""};
}

std::optional<LightChange> compare_brightness(const HueLight& light, HueLightState& stored) {
    if (!renew(stored.brightness, light.getBrightness(), stored.value_object)) {
        return std::nullopt;
    }
    return LightChange{stored.value_object,
                       std::to_string(percent_of_brightness(stored.brightness)),
                       object_line("BRIGHTNESS id ", stored.value_object)};
}

std::optional<LightChange> compare_temperature(const HueLight& light, HueLightState& stored) {
    if (!light.hasTemperatureControl() ||
        !renew(stored.color_temperature, light.getColorTemperature(), stored.temperature_object)) {
        return std::nullopt;
    }
    return LightChange{stored.temperature_object,
                       std::to_string(percent_of_mired(stored.color_temperature)),
                       object_line("TEMPERATURE id ", stored.temperature_object)};
}

// A light has either all three channels or none.
template <std::uint8_t RGB::*Now, std::uint8_t HueLightState::*Stored, int HueLightState::*Object>
std::optional<LightChange> compare_channel(const HueLight& light, HueLightState& stored) {
    if (stored.r_object < 1 || stored.g_object < 1 || stored.b_object < 1 ||
        !light.hasColorControl()) {
        return std::nullopt;
    }
    const std::uint8_t now = light.getColorRGB().*Now;
    const bool changed = differs(stored.*Stored, now, kRgbTolerance);
    stored.*Stored = now;
    if (!changed) {
        return std::nullopt;
    }
    return LightChange{stored.*Object, std::to_string(now), object_line("", stored.*Object)};
}

// A drift within the tolerances from one poll to the next is absorbed on purpose: the bridge rounds
// its values, and that must not flood the core.
std::optional<LightChange> compare_hsv(const HueLight& light, HueLightState& stored) {
    if (!light.hasColorControl()) {
        return std::nullopt;
    }
    const HSVColor color = light.getColorHSV();
    const bool changed = differs(stored.hue, color.hue, kHueTolerance) ||
                         differs(stored.saturation, color.saturation, kSaturationTolerance) ||
                         differs(stored.value, color.value, kHsvValueTolerance);
    store(stored, color);
    if (!changed || stored.hsv_object < 1) {
        return std::nullopt;
    }
    // The line names the b object, as existing log filters expect.
    return LightChange{stored.hsv_object, text_of_hsv(color.hue, color.saturation, color.value),
                       object_line("", stored.b_object)};
}

// In the order in which the roles of a light are reported.
constexpr Comparison kComparisons[] = {
    compare_on_off,
    compare_brightness,
    compare_temperature,
    compare_channel<&RGB::r, &HueLightState::red, &HueLightState::r_object>,
    compare_channel<&RGB::g, &HueLightState::green, &HueLightState::g_object>,
    compare_channel<&RGB::b, &HueLightState::blue, &HueLightState::b_object>,
    compare_hsv,
};

}  // namespace

void HueHandler::state_monitor() {
    info("Initializing the Philips Hue handler monitoring thread\n");
    int states_result = init_light_states();
    std::uint32_t turn = 1;
    while (monitoring_.get()) {
        ++turn;
        poll();
        monitoring_.sleep_unless(false, std::chrono::milliseconds(timings_.poll_period_ms));
        if (monitoring_.get() && states_result != 0 && turn > timings_.polls_before_reread) {
            info(
                "Check again the list with the bridge. If the previous init states procedure "
                "failed, the bridge internal light list used for polling might be incomplete.");
            turn = 0;
            states_result = init_light_states();
        }
    }
    error("Exit from state_monitor thread:");
}

// The initial read. It releases the table between two lights, so that a command waits for at most
// one light. The keys of the table are fixed by now and need no mutex. A repeated read leaves out
// the lights that an earlier one has reached: overwriting their state would hide a change from the
// polls.
int HueHandler::init_light_states() {
    info("HueHandler->init_light_states - initializing states of lights\n");
    int result = 0;
    for (auto& [light_id, stored] : light_table_.entries()) {
        if (!monitoring_.get()) {
            result = -1;
            break;
        }
        if (initialized_lights_.count(light_id) != 0) {
            continue;
        }
        const std::lock_guard<FairMutex> lock(table_mutex_);
        if (init_light_state(light_id, stored)) {
            initialized_lights_.insert(light_id);
        } else {
            result = -1;
        }
    }
    info("HueHandler->init_light_states - end of initial state updates\n");
    return result;
}

// Table mutex held.
bool HueHandler::init_light_state(int light_id, HueLightState& stored) {
    try {
        // getLight() has read the light. On the const light each getter reads that state; without
        // the const, each would send a request of its own.
        const HueLight& light = bridge_->getLight(light_id);
        if (light.getState().isNull()) {
            throw std::runtime_error("the bridge gave no description of the light");
        }
        stored.on = light.isOn();
        stored.brightness = light.getBrightness();
        if (light.hasTemperatureControl()) {
            stored.color_temperature = light.getColorTemperature();
        }
        if (light.hasColorControl()) {
            store(stored, light.getColorRGB());
            store(stored, light.getColorHSV());
        }
        return true;
    } catch (const std::exception& problem) {
        error("%s (light id = %d)\n", problem.what(), light_id);
        return false;
    }
}

void HueHandler::poll() {
    const std::unique_lock<FairMutex> lock(table_mutex_, std::try_to_lock);
    if (!lock.owns_lock()) {
        return;  // a command is being carried out, and commands come first
    }
    if (last_request_end_ &&
        Clock::now() - *last_request_end_ < std::chrono::milliseconds(timings_.poll_period_ms)) {
        return;  // the bridge has not settled yet
    }
    if (!refresh_lights()) {
        return;
    }
    report_lights();
}

// Visits each light once. A slow or silent core ends the pass: the table is locked meanwhile, and a
// command must not wait for one report after the other. What was not reported keeps its old stored
// value, so the next pass finds it again; it begins after the last light of this one, so that a
// light that changes all the time does not starve the others.
void HueHandler::report_lights() {
    std::map<int, HueLightState>& lights = light_table_.entries();
    auto light = last_reported_light_ ? lights.upper_bound(*last_reported_light_) : lights.begin();
    last_reported_light_.reset();
    reports_end_ = Clock::now() + kReportsLimit;
    for (std::size_t left = lights.size(); left > 0 && monitoring_.get(); --left, ++light) {
        if (light == lights.end()) {
            light = lights.begin();
        }
        auto& [light_id, stored] = *light;
        try {
            if (report_changes(light_id, stored)) {
                continue;
            }
            last_reported_light_ = light_id;
            if (left > 1) {
                error(
                    "Monitoring thread - the core is slow or does not answer, further changes wait "
                    "for the next poll");
            }
            return;
        } catch (const std::exception& problem) {
            error("Monitoring thread error: error reading light (light id = %d) state - %s \n",
                  light_id, problem.what());
        }
    }
}

bool HueHandler::refresh_lights() {
    info("Monitoring thread - starting refresh light status from bridge");
    try {
        bridge_->refreshLights();
    } catch (const std::exception& problem) {
        error("Monitoring thread error: %s (bridge disconnected)\n", problem.what());
        error("Skipping light state updates, unable to retrieve a refreshed state from bridge\n");
        return false;
    }
    info("Monitoring thread - light status from bridge received, parsing...");
    return true;
}

// After a stop in the middle of a light its next turn begins with the role after the last report:
// a role that changes all the time does not starve the others. The light is const, so only the
// getters that send no request can be called: a poll is one request, however many lights there are.
bool HueHandler::report_changes(int light_id, HueLightState& stored) {
    const HueLight& light = bridge_->peekLight(light_id);
    std::size_t& first_role = first_roles_[light_id];
    for (std::size_t i = 0; i < std::size(kComparisons); ++i) {
        const std::size_t role = (first_role + i) % std::size(kComparisons);
        const std::optional<LightChange> change = kComparisons[role](light, stored);
        if (change && !report(*change)) {
            first_role = role + 1;
            return false;
        }
    }
    first_role = 0;
    return true;
}

bool HueHandler::report(const LightChange& change) const {
    libtavcore::core_request request(FSMCORE_SOCKET, FSMCORE_RUN_ON_ELEMENT);
    if (*request.get_last_error() != '\0') {
        error("Core Request error: %s", request.get_last_error());
        return true;
    }
    request.compose_runonelement(std::to_string(change.object_id).c_str(), kReportAction,
                                 change.value.c_str(), nullptr, nullptr,
                                 std::to_string(runner_id_).c_str());
    if (request.run() < 0) {
        error("ERROR sending vexad request: %s", request.get_last_error());
        if (!change.failure_line.empty()) {
            error("%s", change.failure_line.c_str());
        }
    }
    return Clock::now() < reports_end_;
}

}  // namespace hue_handler
