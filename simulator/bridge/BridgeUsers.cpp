#include "simulator/bridge/BridgeUsers.h"

#include <random>

#include "simulator/JsonText.h"
#include "simulator/bridge/BridgeLight.h"

namespace simulator {
namespace {

constexpr std::size_t kNameLength = 40;
constexpr std::size_t kLongestDeviceType = 40;

std::string random_name() {
    static const std::string kLetters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";
    static std::random_device source;
    std::uniform_int_distribution<std::size_t> any(0, kLetters.size() - 1);
    std::string name;
    while (name.size() < kNameLength) {
        name += kLetters[any(source)];
    }
    return name;
}

Json::Value one(const Json::Value& element) {
    Json::Value answer(Json::arrayValue);
    answer.append(element);
    return answer;
}

}  // namespace

BridgeUsers::BridgeUsers(const std::string& first_user) {
    if (!first_user.empty()) {
        names_.insert(first_user);
    }
}

void BridgeUsers::press_link_button() {
    pressed_ = std::chrono::steady_clock::now();
}

Json::Value BridgeUsers::pair(const std::string& body) {
    const auto request = parse_json(body);
    if (!request || !request->isObject()) {
        return one(bridge_error(BridgeError::invalid_json, "", "body contains invalid json"));
    }
    const Json::Value& device_type = (*request)["devicetype"];
    if (device_type.isNull()) {
        return one(bridge_error(BridgeError::missing_parameters, "",
                                "invalid/missing parameters in body"));
    }
    if (!device_type.isString() || device_type.asString().empty() ||
        device_type.asString().size() > kLongestDeviceType) {
        return one(bridge_error(
            BridgeError::invalid_value, "/devicetype",
            "invalid value, " + compact_json(device_type) + ", for parameter, devicetype"));
    }
    if (!pressed_ || std::chrono::steady_clock::now() - *pressed_ > kButtonTime) {
        return one(
            bridge_error(BridgeError::link_button_not_pressed, "", "link button not pressed"));
    }
    const std::string name = random_name();
    names_.insert(name);
    Json::Value element;
    element["success"]["username"] = name;
    return one(element);
}

}  // namespace simulator
