/// One light of the simulated bridge: handles the requests of the v1 REST interface and answers
/// with the successes and errors of a bridge, in the order of a bridge.
///
/// The description determines the abilities: a parameter that the state lacks is "not available".
/// Not thread-safe; the bridge guards it.
#pragma once

#include <string>
#include <utility>

#include <json/value.h>

namespace simulator {

/// Error types of the v1 interface.
enum class BridgeError {
    unauthorized = 1,
    invalid_json = 2,
    resource_not_available = 3,
    method_not_available = 4,
    parameter_not_available = 6,
    invalid_value = 7,
    link_button_not_pressed = 101,
    device_is_off = 201,
};

/// {"error": {"type", "address", "description"}}, one element of an answer.
Json::Value bridge_error(BridgeError type, const std::string& address,
                         const std::string& description);

/// {"success": {address: value}}, one element of an answer.
Json::Value bridge_success(const std::string& address, const Json::Value& value);

class BridgeLight final {
  public:
    /// `description` is a bridge's answer to GET of the light.
    BridgeLight(int id, Json::Value description) : id_(id), description_(std::move(description)) {}

    /// Handles PUT of /state. Returns an array with one element per parameter: transitiontime, on,
    /// then the rest, independent of the order in the request.
    Json::Value put_state(const Json::Value& request) { return put(request, false); }
    /// Handles PUT of the light itself or of /name.
    Json::Value put_name(const Json::Value& request);
    /// Changes the bulb as a wall switch or the maker's app does: like put_state, but a light that
    /// is off accepts it too.
    Json::Value change(const Json::Value& members) { return put(members, true); }

    const Json::Value& description() const { return description_; }

  private:
    Json::Value put(const Json::Value& request, bool may_be_off);

    int id_;
    Json::Value description_;
};

}  // namespace simulator
