/// The user names of a bridge, and the link button that allows a new one.
///
/// Not thread-safe; the bridge guards it.
#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>

#include <json/value.h>

namespace simulator {

class BridgeUsers final {
  public:
    /// `first_user` is empty for an unpaired bridge.
    explicit BridgeUsers(const std::string& first_user);

    bool has_user(const std::string& username) const { return names_.count(username) > 0; }
    /// Allows new users for kButtonTime.
    void press_link_button();
    /// Handles POST of /api. Returns an array with the new name or an error.
    Json::Value pair(const std::string& body);

    static constexpr std::chrono::seconds kButtonTime{30};

  private:
    std::set<std::string> names_;
    std::optional<std::chrono::steady_clock::time_point> pressed_;
};

}  // namespace simulator
