// The request queue and the thread that carries its requests out.
#include <exception>

#include "hue_handler/HueHandler.h"
#include "hue_handler/UnitConversion.h"
#include "libcbase/log.h"

namespace hue_handler {
namespace {

// 400 ms, the bridge's default; the request then has no transition time.
constexpr std::uint8_t kTransitionSteps = 4;

enum class Outcome {
    not_addressed,  // the light does not have the object, or cannot do what it asks for
    done,
    refused,  // the bridge did not confirm the command
};

Outcome outcome_of(bool confirmed) {
    return confirmed ? Outcome::done : Outcome::refused;
}

// The stored state decides, not the light's: a light that was switched by other means is commanded
// again only after the monitor has read its state.
Outcome switch_light(HueLight& light, HueLightState& stored, std::int32_t value) {
    if (!stored.on && value == 1) {
        light.On(kTransitionSteps);
        stored.on = true;
    } else if (stored.on && value == 0) {
        light.Off(kTransitionSteps);
        stored.on = false;
    }
    return Outcome::done;
}

Outcome dim_light(HueLight& light, HueLightState& stored, std::int32_t percent) {
    if (percent != 0) {
        return outcome_of(light.setBrightness(brightness_of_percent(percent), kTransitionSteps));
    }
    light.Off(kTransitionSteps);
    stored.brightness = 0;
    return Outcome::done;
}

Outcome set_temperature(HueLight& light, HueLightState&, std::int32_t percent) {
    return outcome_of(light.setColorTemperature(mired_of_percent(percent), kTransitionSteps));
}

Outcome set_hsv(HueLight& light, HueLightState&, std::int32_t word) {
    return outcome_of(light.setColorHSV(hsv_of_word(word), kTransitionSteps));
}

// A command sets one channel; the other two are the stored ones. The byte is stored after it was
// sent, whether the bridge confirmed it or not.
template <std::uint8_t HueLightState::*Channel>
Outcome set_channel(HueLight& light, HueLightState& stored, std::int32_t value) {
    HueLightState wanted = stored;
    wanted.*Channel = static_cast<std::uint8_t>(value & 0xFF);
    const bool confirmed =
        light.setColorRGB(wanted.red, wanted.green, wanted.blue, kTransitionSteps);
    stored.*Channel = wanted.*Channel;
    return outcome_of(confirmed);
}

// What a command does in each role.
constexpr struct {
    int HueLightState::*object;  // of the role
    Outcome (*drive)(HueLight& light, HueLightState& stored, std::int32_t value);
} kOperations[] = {
    {&HueLightState::on_off_object, switch_light},
    {&HueLightState::value_object, dim_light},
    {&HueLightState::temperature_object, set_temperature},
    {&HueLightState::hsv_object, set_hsv},
    {&HueLightState::r_object, set_channel<&HueLightState::red>},
    {&HueLightState::g_object, set_channel<&HueLightState::green>},
    {&HueLightState::b_object, set_channel<&HueLightState::blue>},
};

Outcome drive_light(HueLight& light, HueLightState& stored, const VexadRequest& request) {
    const LightAbilities abilities{light.hasBrightnessControl(), light.hasTemperatureControl(),
                                   light.hasColorControl()};
    const LightRole* const role = LightTable::role_driven_by(request.object_id, stored, abilities);
    for (const auto& operation : kOperations) {
        if (role != nullptr && role->object == operation.object) {
            return operation.drive(light, stored, request.value);
        }
    }
    return Outcome::not_addressed;
}

void log_light_problem(const char* problem, int light_id) {
    error("Request manager thread error: %s (light id = %d)\n", problem, light_id);
}

}  // namespace

void HueHandler::push_request(const VexadRequest& request) {
    const char* why_lost = nullptr;
    {
        const std::lock_guard<std::mutex> lock(queue_mutex_);
        if (is_queue_closed_) {
            why_lost = "lumivad will terminate soon";
        } else if (queue_.size() >= kMaxQueuedRequests) {
            why_lost = "too many requests are waiting";
        } else {
            queue_.push_back(request);
        }
    }
    if (why_lost != nullptr) {
        // The core has received its answer already, so the loss has to be logged.
        error("Request dropped, %s: obj_id %d, value %d", why_lost, request.object_id,
              request.value);
    }
}

void HueHandler::execute_request() {
    info("Initializing the Philips Hue handler request manager thread");
    while (!worker_stop_.get()) {
        const std::optional<VexadRequest> request = take_request();
        if (!request) {
            worker_stop_.sleep_unless(true, std::chrono::milliseconds(timings_.queue_look_ms));
            continue;
        }
        const std::lock_guard<FairMutex> lock(table_mutex_);
        carry_out(*request);
        // The mutex is still held: no poll may start before the bridge has settled.
        worker_stop_.sleep_unless(true, std::chrono::milliseconds(timings_.request_pause_ms));
        last_request_end_ = Clock::now();
    }
    error("Exit from execute_request thread:");
    log_unfinished_requests();
}

std::optional<VexadRequest> HueHandler::take_request() {
    const std::lock_guard<std::mutex> lock(queue_mutex_);
    if (queue_.empty()) {
        return std::nullopt;
    }
    const VexadRequest request = queue_.front();
    queue_.pop_front();
    return request;
}

// Table mutex held.
void HueHandler::carry_out(const VexadRequest& request) {
    info("-- Received request: obj_id %d, value %d", request.object_id, request.value);
    if (request.object_id < 1) {
        return;  // 0 means "no object in this role" and must not match it
    }
    for (auto& [light_id, stored] : light_table_.entries()) {
        if (stored.on_off_object < 1) {
            continue;
        }
        try {
            const Outcome outcome = drive_light(bridge_->peekLight(light_id), stored, request);
            if (outcome == Outcome::refused) {
                log_light_problem("the bridge did not confirm the command", light_id);
            }
            if (outcome != Outcome::not_addressed) {
                return;
            }
        } catch (const std::exception& problem) {
            log_light_problem(problem.what(), light_id);
        }
    }
}

// From now on a request that arrives is dropped and logged.
void HueHandler::stop_worker() {
    {
        const std::lock_guard<std::mutex> lock(queue_mutex_);
        is_queue_closed_ = true;
    }
    worker_stop_.set(true);
}

void HueHandler::log_unfinished_requests() {
    const std::lock_guard<std::mutex> lock(queue_mutex_);
    if (!queue_.empty()) {
        error("%zu requests dropped, the request manager thread has ended", queue_.size());
    }
}

}  // namespace hue_handler
