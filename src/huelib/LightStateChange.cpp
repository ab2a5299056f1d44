#include "huelib/LightStateChange.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "huelib/HueLight.h"
#include "huelib/JsonAccess.h"

namespace {

// The bridge rounds coordinates to four decimals.
std::int64_t tenThousandths(double coordinate) {
    constexpr double kBeyondEveryColor = 1e6;
    const double bounded = std::clamp(coordinate, -kBeyondEveryColor, kBeyondEveryColor);
    return static_cast<std::int64_t>(std::trunc(bounded * 10000 + 0.5));
}

bool coordinatesAgree(const Json::Value& answered, const Json::Value& requested) {
    for (Json::ArrayIndex i = 0; i < requested.size(); ++i) {
        const auto left = JsonAccess::toDouble(JsonAccess::element(answered, i));
        const auto right = JsonAccess::toDouble(JsonAccess::element(requested, i));
        if (!left || !right || tenThousandths(*left) != tenThousandths(*right)) {
            return false;
        }
    }
    return true;
}

// A value that cannot be read as the type of the requested one is empty, and so differs from it.
bool valuesAgree(const Json::Value& answered, const Json::Value& requested) {
    switch (requested.type()) {
        case Json::booleanValue:
            return JsonAccess::toBool(answered) == requested.asBool();
        case Json::stringValue:
            return JsonAccess::toString(answered) == requested.asString();
        case Json::arrayValue:
            return coordinatesAgree(answered, requested);
        default:
            return JsonAccess::toUnsigned(answered) == requested.asUInt();
    }
}

CachedLightState refreshed(HueLight& light) {
    light.refreshState();
    return CachedLightState(light.getState());
}

}  // namespace

LightStateChange::LightStateChange(HueLight& changed, std::uint8_t transition)
    : light(changed), cached(refreshed(changed)), request(HueLight::emptyStateRequest(transition)) {
    if (!request.empty()) {
        checkOrder.push_back("transitiontime");
    }
    if (!cached.isOn()) {
        set("on", true);
    }
}

void LightStateChange::set(const char* name, const Json::Value& value) {
    request[name] = value;
    checkOrder.push_back(name);
    changesSomething = true;
}

bool LightStateChange::send() {
    if (!changesSomething) {
        return true;
    }
    const Json::Value answer = light.SendPutRequest(request, "/state");
    const std::string prefix = "/lights/" + std::to_string(light.getId()) + "/state/";
    // The bridge confirms in this order, whatever the order of the request.
    Json::ArrayIndex index = 0;
    for (const char* name : checkOrder) {
        const Json::Value& success =
            JsonAccess::member(JsonAccess::element(answer, index++), "success");
        if (!valuesAgree(JsonAccess::member(success, prefix + name), request[name])) {
            return false;
        }
    }
    return true;
}
