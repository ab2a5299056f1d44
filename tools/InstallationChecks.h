/// The checks of "huectl check": pure functions over what the database and the bridge say.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Finding.h"
#include "Installation.h"
#include "LightReport.h"

namespace huectl {

/// The lights of a bridge by number; nothing if the bridge was not read.
using BridgeLights = std::optional<std::map<int, LightReport>>;

/// What the checks look at. Belongs to the caller.
struct Checked {
    const Installation& database;
    const BridgeLights& lights;
};

/// Null if the bridge was not read or does not have the light.
const LightReport* report_of(const Checked& checked, int light);

/// A role in which commands and reports of an object reach a light.
struct DrivenRole {
    const hue_handler::LightRole* role;
    int object;
};
/// The roles that the daemon will drive, in the order of LightTable::kRoles. If the bridge was not
/// read, each light counts as one that can do every role.
std::vector<DrivenRole> driven_roles(const Checked& checked, int light);

/// Everything that the checks find, in their order.
Findings findings_of(const Checked& checked);

}  // namespace huectl
