/// The lights under a bridge object of the installation, with the controller objects that drive
/// them.
///
/// Filled from the rows of the database service; needs neither a bridge nor a running daemon. It
/// has no lock: the owner guards it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "hue_handler/HueLightState.h"

namespace hue_handler {

/// What a light can do besides being switched.
struct LightAbilities {
    bool dimming = true;      ///< brightness
    bool temperature = true;  ///< white tones
    bool colour = true;       ///< any way of setting it
};

/// What an object of the controller does for a light.
struct LightRole {
    const char* name;             ///< in the database, as in "tag_complex_element=on_off"
    int HueLightState::*object;   ///< the field of an entry that holds the role's object
    bool LightAbilities::*needs;  ///< without it the light ignores the role; null if all can do it
};

class LightTable final {
  public:
    /// A row of the database: texts by the name of the column, in upper case.
    using Row = std::map<std::string, std::string>;

    /// Each role, in the order in which a row is searched for its name.
    static constexpr std::array<LightRole, 7> kRoles{{
        {"on_off", &HueLightState::on_off_object, nullptr},
        {"value", &HueLightState::value_object, &LightAbilities::dimming},
        {"temperature", &HueLightState::temperature_object, &LightAbilities::temperature},
        {"r", &HueLightState::r_object, &LightAbilities::colour},
        {"g", &HueLightState::g_object, &LightAbilities::colour},
        {"b", &HueLightState::b_object, &LightAbilities::colour},
        {"hsv", &HueLightState::hsv_object, &LightAbilities::colour},
    }};

    /// Where an object is used.
    struct Use {
        int light_id;           ///< of the bridge
        const LightRole* role;  ///< an element of kRoles
    };

    /// The role that the column "optional" of a row names: an element of kRoles, or null.
    static const LightRole* role_named_in(const std::string& optional);

    /// The role in which a command for this object drives a light: the first one with the object
    /// that the light can do, hsv before r, g and b. Null if the light is not driven: none has it,
    /// or the light has no on_off object.
    static const LightRole* role_driven_by(int object_id, const HueLightState& entry,
                                           const LightAbilities& abilities);

    /// The statement that selects the rows of a bridge object's lights.
    static std::string query(std::uint32_t bridge_object);

    /// Adds a row: its light gets an entry, and its object the role that the row names, if any; the
    /// last object of a role counts. Returns an empty text, or, for a row whose light or object is
    /// not a number, the line for the log; such a row changes nothing.
    std::string add_row(const Row& row);

    /// Each light and role that has this object, in the order of the light IDs and of kRoles. None
    /// for an ID below 1, which means "no object". This is for a look at the installation; for a
    /// command see role_driven_by().
    std::vector<Use> uses_of(int object_id) const;

    /// The entries by light ID of the bridge. Their keys change in add_row() only.
    std::map<int, HueLightState>& entries() { return entries_; }
    const std::map<int, HueLightState>& entries() const { return entries_; }

  private:
    std::map<int, HueLightState> entries_;
};

}  // namespace hue_handler
