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

Json::Value rounded(const Json::Value& coordinate) {
    return std::round(coordinate.asDouble() * kPointSteps) / kPointSteps;
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

    bool accepts(const Json::Value& value) const {
        switch (kind) {
            case Kind::boolean:
                return value.isBool();
            case Kind::number:
                return value.isInt() && value.asInt() >= smallest && value.asInt() <= largest;
            case Kind::point:
                return value.isArray() && value.size() == 2 && is_fraction(value[0]) &&
                       is_fraction(value[1]);
            case Kind::effect:
                return is_one_of(value, {"none", "colorloop"});
            case Kind::alert:
                return is_one_of(value, {"none", "select", "lselect"});
        }
        return false;
    }

    Json::Value kept(const Json::Value& value) const {
        if (kind == Kind::number) {
            return std::min(value.asInt(), largest_kept);
        }
        if (kind == Kind::point) {
            Json::Value point(Json::arrayValue);
            point.append(rounded(value[0]));
            point.append(rounded(value[1]));
            return point;
        }
        return value;
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

BridgeLight::BridgeLight(int id, Json::Value description)
    : id_(id), description_(std::move(description)) {}

Json::Value BridgeLight::put_state(const Json::Value& request) {
    return put(request, false);
}

Json::Value BridgeLight::change(const Json::Value& members) {
    return put(members, true);
}

Json::Value BridgeLight::put(const Json::Value& request, bool may_be_off) {
    Json::Value answer(Json::arrayValue);
    for (const Parameter& parameter : kParameters) {
        if (request.isMember(parameter.name)) {
            answer.append(take(parameter, request[parameter.name], may_be_off));
        }
    }
    for (const std::string& name : request.getMemberNames()) {
        const bool is_known =
            std::any_of(std::begin(kParameters), std::end(kParameters),
                        [&name](const Parameter& parameter) { return name == parameter.name; });
        if (!is_known) {
            answer.append(bridge_error(BridgeError::parameter_not_available,
                                       "/lights/" + std::to_string(id_) + "/state/" + name,
                                       "parameter, " + name + ", not available"));
        }
    }
    return answer;
}

Json::Value BridgeLight::take(const Parameter& parameter, const Json::Value& value,
                              bool may_be_off) {
    const std::string name = parameter.name;
    const std::string address = "/lights/" + std::to_string(id_) + "/state/" + name;
    Json::Value& state = description_["state"];
    if (parameter.is_state && !state.isMember(name)) {
        return bridge_error(BridgeError::parameter_not_available, address,
                            "parameter, " + name + ", not available");
    }
    if (!parameter.accepts(value)) {
        return bridge_error(BridgeError::invalid_value, address,
                            "invalid value, " + compact_json(value) + ", for parameter, " + name);
    }
    if (parameter.needs_light_on && !may_be_off && !state["on"].asBool()) {
        return bridge_error(BridgeError::device_is_off, address,
                            "parameter, " + name + ", is not modifiable. Device is set to off.");
    }
    const Json::Value kept = parameter.kept(value);
    if (parameter.is_state && parameter.kind != Kind::alert) {
        state[name] = kept;
    }
    if (parameter.mode != nullptr && state.isMember("colormode")) {
        state["colormode"] = parameter.mode;
    }
    Json::Value element;
    element["success"][address] = kept;
    return element;
}

Json::Value BridgeLight::put_name(const Json::Value& request) {
    const std::string address = "/lights/" + std::to_string(id_) + "/name";
    Json::Value answer(Json::arrayValue);
    if (!request["name"].isString()) {
        answer.append(bridge_error(BridgeError::invalid_value, address,
                                   "invalid value, , for parameter, name"));
        return answer;
    }
    description_["name"] = request["name"];
    Json::Value element;
    element["success"][address] = request["name"];
    answer.append(element);
    return answer;
}

}  // namespace simulator
