/// The values of the core and of the bridge that belong together, from a table that was worked out
/// by hand (conversions.txt). The ledger judges the daemon by it and so shares no rule with it.
///
/// Immutable; any thread may call.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <json/value.h>

namespace simulator {

class Conversions final {
  public:
    using Numbers = std::vector<int>;
    struct Role {
        std::string name;
        std::vector<std::string> members;  ///< of a light's state
        int largest;                       ///< value of the core
        /// By how much each number of compared() may differ without a report.
        Numbers tolerance;
    };

    /// Throws std::runtime_error if conversions.txt cannot be read or a cell is not a number.
    Conversions();

    /// Throws std::runtime_error for an unknown name.
    static const Role& role(const std::string& name);
    /// The three channels of a light, which are sent as one colour: the role "rgb".
    static bool is_channel(const std::string& role) { return role.size() == 1; }
    /// What is compared of a value of the core: the number, or hue, saturation and value in 8 bits.
    static Numbers parts(const std::string& role, const std::string& value);
    /// True if two such values differ by more than the tolerance of the role.
    static bool differ(const std::string& role, const Numbers& a, const Numbers& b);

    /// What a command of the core sends: "on", "bri", "ct", or "hue", "sat" and "bri"; "on" is
    /// false for a value that means off. Nothing if the table has no such row.
    std::optional<Json::Value> sent(const std::string& role, const Numbers& value) const;
    /// What is reported for a light in this state; nothing if the table has no such row.
    std::optional<std::string> reported(const std::string& role, const Json::Value& state) const;
    /// What is compared from one poll to the next: on, bri, ct, a channel, or the parts of a
    /// colour.
    std::optional<Numbers> compared(const std::string& role, const Json::Value& state) const;
    /// Values of the core for which the table says what is sent, without those that mean off.
    std::vector<std::string> payloads(const std::string& role) const;

  private:
    using Key = std::pair<std::string, Numbers>;  // a role and a value

    std::map<Key, Numbers> sent_;          // values of the role's members; none for off
    std::map<Key, std::string> reported_;  // by the values of the role's members
};

/// The number in a value of the core, "50" or "#5580C0"; -1 if there is none.
int number_of(const std::string& payload);

}  // namespace simulator
