/// The values of the core and of the bridge that belong together, from a table that was worked out
/// by hand (conversions.txt). The ledger judges the daemon by it and so shares no rule with it.
///
/// Immutable; any thread may call.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace simulator {

class Conversions final {
  public:
    using Numbers = std::vector<int>;

    /// Throws std::runtime_error if the file cannot be read or a cell is not a number.
    explicit Conversions(const std::string& path = default_path());
    static std::string default_path();

    /// What a command of the core sends: "bri", "ct", or "hue", "sat" and "bri"; "on" is false for
    /// a colour that means off. Nothing if the table has no such row.
    std::optional<Json::Value> sent(const std::string& role, int value) const;
    /// The same for a command of one channel; `rgb`: all three channels that the light then has.
    std::optional<Json::Value> sent_color(const Numbers& rgb) const;

    /// What is reported for a light in this state; nothing if the table has no such row.
    std::optional<std::string> reported(const std::string& role, const Json::Value& state) const;
    /// What is compared from one poll to the next: on, bri, ct, a channel, or hue, saturation and
    /// value in 8 bits.
    std::optional<Numbers> compared(const std::string& role, const Json::Value& state) const;
    /// By how much each of these numbers may differ without a report.
    static Numbers tolerance(const std::string& role);

    /// Values of the core, as text, for which the table says what is sent, without those that mean
    /// off.
    std::vector<std::string> payloads(const std::string& role) const;

  private:
    struct Color {
        Numbers rgb;
        std::string hsv;
    };

    std::map<std::string, std::map<int, int>> sent_;      // by role: percent to bri or mired
    std::map<std::string, std::map<int, int>> reported_;  // by role: bri or mired to percent
    std::map<Numbers, Color> colors_;                     // by hue, sat and bri of the bridge
    std::map<int, Numbers> words_;                        // 0xHHSSVV to hue, sat and bri
    std::map<Numbers, Numbers> channels_;                 // r, g, b to hue, sat, bri; empty: off
};

/// The number in a value of the core, "50" or "#5580C0"; -1 if there is none.
int number_of(const std::string& payload);

}  // namespace simulator
