/// Who may use a bridge: its user names, and the link button by which a new one is made.
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
    /// Empty for a bridge that knows nobody yet.
    explicit BridgeUsers(const std::string& first_user);

    bool knows(const std::string& username) const { return names_.count(username) > 0; }
    /// From now on, for kButtonTime, whoever asks becomes a user.
    void presses_link_button();
    /// A POST of /api: an array with the new name, or with what is wrong.
    Json::Value pair(const std::string& body);

    static constexpr std::chrono::seconds kButtonTime{30};

  private:
    std::set<std::string> names_;
    std::optional<std::chrono::steady_clock::time_point> pressed_;
};

}  // namespace simulator
