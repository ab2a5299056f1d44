#include "simulator/bridge/BridgeLight.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

constexpr double kPointSteps = 10000;  // a bridge keeps xy to four decimals

// What a light stores of a value; null if it refuses the value.
using Kept = Json::Value (*)(const Json::Value& value);

Json::Value boolean(const Json::Value& value) {
    return value.isBool() ? value : Json::Value();
}

// Accepted up to kLargest, stored up to kLargestKept: a bri of 255 becomes 254.
template <int kSmallest, int kLargest, int kLargestKept = kLargest>
Json::Value number(const Json::Value& value) {
    return value.isInt() && value.asInt() >= kSmallest && value.asInt() <= kLargest
               ? Json::Value(std::min(value.asInt(), kLargestKept))
               : Json::Value();
}

Json::Value point(const Json::Value& value) {
    Json::Value kept(Json::arrayValue);
    for (const Json::Value& coordinate : value.isArray() ? value : Json::Value()) {
        if (!coordinate.isNumeric() || coordinate.asDouble() < 0 || coordinate.asDouble() > 1) {
            return {};
        }
        kept.append(std::round(coordinate.asDouble() * kPointSteps) / kPointSteps);
    }
    return kept.size() == 2 ? kept : Json::Value();
}

Json::Value effect(const Json::Value& value) {
    return value == "none" || value == "colorloop" ? value : Json::Value();
}

Json::Value alert(const Json::Value& value) {
    return value == "none" || value == "select" || value == "lselect" ? value : Json::Value();
}

struct Parameter {
    const char* name;
    Kept kept;
    const char* mode;     // the colormode that it sets, or null
    bool is_ability;      // refused if the state lacks it; transitiontime is in no state
    bool is_stored;       // in the state
    bool needs_light_on;  // refused while the light is off
};

// The order is that of a bridge's answer. A later colour mode wins: xy before ct before hs.
constexpr Parameter kParameters[] = {
    {"transitiontime", number<0, 65535>, nullptr, false, false, false},
    {"on", boolean, nullptr, true, true, false},
    {"bri", number<0, 255, 254>, nullptr, true, true, true},
    {"hue", number<0, 65535>, "hs", true, true, true},
    {"sat", number<0, 255, 254>, "hs", true, true, true},
    {"ct", number<153, 500>, "ct", true, true, true},
    {"xy", point, "xy", true, true, true},
    {"effect", effect, nullptr, true, true, true},
    {"alert", alert, nullptr, true, false, false},
};

Json::Value not_available(const std::string& address, const std::string& parameter) {
    return bridge_error(BridgeError::parameter_not_available, address,
                        "parameter, " + parameter + ", not available");
}

// Returns the answer's element for one parameter.
Json::Value take(const Parameter& parameter, const Json::Value& value, Json::Value& state,
                 const std::string& address, bool may_be_off) {
    const std::string name = parameter.name;
    if (parameter.is_ability && !state.isMember(name)) {
        return not_available(address, name);
    }
    const Json::Value kept = parameter.kept(value);
    if (kept.isNull()) {
        return bridge_error(BridgeError::invalid_value, address,
                            "invalid value, " + compact_json(value) + ", for parameter, " + name);
    }
    if (parameter.needs_light_on && !may_be_off && !state["on"].asBool()) {
        return bridge_error(BridgeError::device_is_off, address,
                            "parameter, " + name + ", is not modifiable. Device is set to off.");
    }
    if (parameter.is_stored) {
        state[name] = kept;
    }
    if (parameter.mode != nullptr && state.isMember("colormode")) {
        state["colormode"] = parameter.mode;
    }
    return bridge_success(address, kept);
}

}  // namespace

Json::Value bridge_error(BridgeError type, const std::string& address,
                         const std::string& description) {
    Json::Value element;
    element["error"]["type"] = static_cast<int>(type);
    element["error"]["address"] = address;
    element["error"]["description"] = description;
    return element;
}

Json::Value bridge_success(const std::string& address, const Json::Value& value) {
    Json::Value element;
    element["success"][address] = value;
    return element;
}

Json::Value BridgeLight::put(const Json::Value& request, bool may_be_off) {
    const std::string state = "/lights/" + std::to_string(id_) + "/state/";
    Json::Value answer(Json::arrayValue);
    Json::Value unknown = request;
    for (const Parameter& parameter : kParameters) {
        Json::Value value;
        if (unknown.removeMember(parameter.name, &value)) {
            answer.append(
                take(parameter, value, description_["state"], state + parameter.name, may_be_off));
        }
    }
    for (const std::string& name : unknown.getMemberNames()) {
        answer.append(not_available(state + name, name));
    }
    return answer;
}

Json::Value BridgeLight::put_name(const Json::Value& request) {
    const std::string address = "/lights/" + std::to_string(id_) + "/name";
    Json::Value answer(Json::arrayValue);
    const Json::Value& name = request["name"];
    if (name.isString()) {
        description_["name"] = name;
    }
    answer.append(name.isString() ? bridge_success(address, name)
                                  : bridge_error(BridgeError::invalid_value, address,
                                                 "invalid value, , for parameter, name"));
    return answer;
}

}  // namespace simulator
