#include "simulator/bridge/BridgeLight.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

enum class Kind { boolean, number, point, effect, alert };

constexpr double kPointSteps = 10000;  // a bridge keeps xy to four decimals

bool is_fraction(const Json::Value& value) {
    return value.isNumeric() && value.asDouble() >= 0 && value.asDouble() <= 1;
}

bool is_one_of(const Json::Value& value, std::initializer_list<const char*> words) {
    return value.isString() &&
           std::find(words.begin(), words.end(), value.asString()) != words.end();
}

Json::Value not_available(const std::string& address, const std::string& parameter) {
    return bridge_error(BridgeError::parameter_not_available, address,
                        "parameter, " + parameter + ", not available");
}

Json::Value rounded_point(const Json::Value& value) {
    Json::Value point(Json::arrayValue);
    for (const Json::Value& coordinate : value.isArray() ? value : Json::Value()) {
        if (!is_fraction(coordinate)) {
            return {};
        }
        point.append(std::round(coordinate.asDouble() * kPointSteps) / kPointSteps);
    }
    return point.size() == 2 ? point : Json::Value();
}

}  // namespace

struct BridgeLight::Parameter {
    const char* name;
    Kind kind;
    int smallest;
    int largest;          // accepted
    int largest_kept;     // stored: a bri of 255 becomes 254
    const char* mode;     // the colormode that it sets, or null
    bool is_state;        // stored in the state; transitiontime is not
    bool needs_light_on;  // refused while the light is off

    // What the light stores; null if it refuses the value.
    Json::Value kept(const Json::Value& value) const {
        switch (kind) {
            case Kind::boolean:
                return value.isBool() ? value : Json::Value();
            case Kind::number:
                return value.isInt() && value.asInt() >= smallest && value.asInt() <= largest
                           ? Json::Value(std::min(value.asInt(), largest_kept))
                           : Json::Value();
            case Kind::point:
                return rounded_point(value);
            case Kind::effect:
                return is_one_of(value, {"none", "colorloop"}) ? value : Json::Value();
            case Kind::alert:
                return is_one_of(value, {"none", "select", "lselect"}) ? value : Json::Value();
        }
        return {};
    }
};

// The order is that of a bridge's answer. A later colour mode wins: xy before ct before hs.
const BridgeLight::Parameter BridgeLight::kParameters[] = {
    {"transitiontime", Kind::number, 0, 65535, 65535, nullptr, false, false},
    {"on", Kind::boolean, 0, 0, 0, nullptr, true, false},
    {"bri", Kind::number, 0, 255, 254, nullptr, true, true},
    {"hue", Kind::number, 0, 65535, 65535, "hs", true, true},
    {"sat", Kind::number, 0, 255, 254, "hs", true, true},
    {"ct", Kind::number, 153, 500, 500, "ct", true, true},
    {"xy", Kind::point, 0, 0, 0, "xy", true, true},
    {"effect", Kind::effect, 0, 0, 0, nullptr, true, true},
    {"alert", Kind::alert, 0, 0, 0, nullptr, true, false},
};

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

BridgeLight::BridgeLight(int id, Json::Value description)
    : id_(id), description_(std::move(description)) {}

Json::Value BridgeLight::put(const Json::Value& request, bool may_be_off) {
    Json::Value answer(Json::arrayValue);
    for (const Parameter& parameter : kParameters) {
        if (request.isMember(parameter.name)) {
            answer.append(take(parameter, request[parameter.name], may_be_off));
        }
    }
    for (const std::string& name : request.getMemberNames()) {
        if (std::none_of(std::begin(kParameters), std::end(kParameters),
                         [&name](const Parameter& parameter) { return name == parameter.name; })) {
            answer.append(not_available(address_of(name), name));
        }
    }
    return answer;
}

Json::Value BridgeLight::take(const Parameter& parameter, const Json::Value& value,
                              bool may_be_off) {
    const std::string name = parameter.name;
    const std::string address = address_of(name);
    Json::Value& state = description_["state"];
    if (parameter.is_state && !state.isMember(name)) {
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
    if (parameter.is_state && parameter.kind != Kind::alert) {
        state[name] = kept;
    }
    if (parameter.mode != nullptr && state.isMember("colormode")) {
        state["colormode"] = parameter.mode;
    }
    return bridge_success(address, kept);
}

Json::Value BridgeLight::put_name(const Json::Value& request) {
    const std::string address = "/lights/" + std::to_string(id_) + "/name";
    Json::Value answer(Json::arrayValue);
    if (request["name"].isString()) {
        description_["name"] = request["name"];
        answer.append(bridge_success(address, request["name"]));
    } else {
        answer.append(bridge_error(BridgeError::invalid_value, address,
                                   "invalid value, , for parameter, name"));
    }
    return answer;
}

}  // namespace simulator
