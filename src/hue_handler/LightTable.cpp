#include "hue_handler/LightTable.h"

#include <algorithm>
#include <iterator>

#include "libcbase/log.h"
#include "libcbase/utility.h"

namespace hue_handler {
namespace {

// Every light object under the bridge object, with each of its child objects and its role. Preset
// relations belong to scenes and drive no light.
constexpr const char* kQueryStart =
    "SELECT vexad_object.msp, vexad_object_relation.childobj_id, vexad_object_relation.optional "
    "FROM vexad_object INNER JOIN vexad_object_relation "
    "ON vexad_object.id = vexad_object_relation.parentobj_id "
    "WHERE vexad_object.id IN (SELECT vexad_object_relation.childobj_id "
    "FROM vexad_object INNER JOIN vexad_object_relation "
    "ON vexad_object.id = vexad_object_relation.parentobj_id WHERE vexad_object.id = ";
constexpr const char* kQueryEnd = ") AND vexad_object_relation.optional NOT LIKE '%preset%'";

std::string column(const LightTable::Row& row, const char* name) {
    const auto found = row.find(name);
    return found == row.end() ? std::string() : found->second;
}

// Without quotes a name also matches a longer word ("r" matches "red"), so the order of the roles
// matters.
bool has_marker(const std::string& optional, const std::string& name) {
    const std::string marker = "tag_complex_element=";
    return optional.find(marker + "'" + name + "'") != std::string::npos ||
           optional.find(marker + name) != std::string::npos;
}

// Part of the behaviour: an object with two roles drives the first of them.
constexpr const LightRole* kCommandOrder[] = {
    &LightTable::kRoles[0], &LightTable::kRoles[1], &LightTable::kRoles[2], &LightTable::kRoles[6],
    &LightTable::kRoles[3], &LightTable::kRoles[4], &LightTable::kRoles[5]};

}  // namespace

const LightRole* LightTable::role_named_in(const std::string& optional) {
    const auto* const role = std::find_if(
        kRoles.begin(), kRoles.end(),
        [&optional](const LightRole& known) { return has_marker(optional, known.name); });
    return role == kRoles.end() ? nullptr : role;
}

const LightRole* LightTable::role_driven_by(int object_id, const HueLightState& entry,
                                            const LightAbilities& abilities) {
    if (object_id < 1 || entry.on_off_object < 1) {
        return nullptr;
    }
    const auto* const found = std::find_if(
        std::begin(kCommandOrder), std::end(kCommandOrder), [&](const LightRole* role) {
            return entry.*role->object == object_id &&
                   (role->needs == nullptr || abilities.*role->needs);
        });
    return found == std::end(kCommandOrder) ? nullptr : *found;
}

std::string LightTable::query(std::uint32_t bridge_object) {
    return kQueryStart + std::to_string(static_cast<std::int32_t>(bridge_object)) + kQueryEnd;
}

std::string LightTable::add_row(const Row& row) {
    const std::string msp = column(row, "MSP");
    const std::string child = column(row, "CHILDOBJ_ID");
    std::int32_t light_id = 0;
    std::int32_t object_id = 0;
    if (parse_int32(msp.c_str(), 10, &light_id) != PARSE_NUMBER_OK ||
        parse_int32(child.c_str(), 10, &object_id) != PARSE_NUMBER_OK) {
        return "Incomplete or malformed db information: MSP='" + escape_control_characters(msp) +
               "', CHILDOBJ_ID='" + escape_control_characters(child) + "'";
    }
    HueLightState& entry = entries_[light_id];
    if (const LightRole* const role = role_named_in(column(row, "OPTIONAL"))) {
        entry.*role->object = object_id;
    }
    return {};
}

std::vector<LightTable::Use> LightTable::uses_of(int object_id) const {
    std::vector<Use> uses;
    for (const auto& [light_id, entry] : entries_) {
        for (const LightRole& role : kRoles) {
            if (object_id > 0 && entry.*role.object == object_id) {
                uses.push_back({light_id, &role});
            }
        }
    }
    return uses;
}

}  // namespace hue_handler
