#include "InstallationChecks.h"

#include <algorithm>
#include <set>

namespace huectl {

const LightReport* report_of(const Checked& checked, int light) {
    if (!checked.lights) {
        return nullptr;
    }
    const auto found = checked.lights->find(light);
    return found == checked.lights->end() ? nullptr : &found->second;
}

namespace {

using hue_handler::LightAbilities;
using hue_handler::LightRole;
using hue_handler::LightTable;

constexpr const char* kRoleMarker = "tag_complex_element=";

// Whether the daemon accepts the light.
bool is_accepted(const Checked& checked, const LightReport& report) {
    return report.light_class() &&
           (!report.is_by_type() || checked.database.bridge.drives_unknown_models());
}

// Nothing for a light that the daemon does not drive.
std::optional<LightAbilities> abilities_of(const Checked& checked, int light) {
    if (!checked.lights) {
        return LightAbilities{};
    }
    const LightReport* const report = report_of(checked, light);
    if (report == nullptr || !is_accepted(checked, *report)) {
        return std::nullopt;
    }
    const LightCatalogue::LightClass& driven = *report->light_class();
    return LightAbilities{driven.isDimmable, driven.hasTemperature(), driven.hasColor()};
}

// A finding about a light, with its first light object if the database has one.
Finding about_light(const Checked& checked, const FindingKind& kind, int light,
                    const std::string& detail = {}) {
    const auto& objects = checked.database.lights;
    const auto found =
        std::find_if(objects.begin(), objects.end(),
                     [light](const LightObject& known) { return known.light == light; });
    return {&kind, found == objects.end() ? 0 : found->id, light, detail};
}

// As a command of the object finds its light.
std::optional<LightTable::Use> driven_use(const Checked& checked, int object) {
    for (const auto& [light, entry] : checked.database.table.entries()) {
        const auto abilities = abilities_of(checked, light);
        const LightRole* const role =
            abilities ? LightTable::role_driven_by(object, entry, *abilities) : nullptr;
        if (role != nullptr) {
            return LightTable::Use{light, role};
        }
    }
    return std::nullopt;
}

// Of a light that is on the bridge and has a class.
std::string class_of(const Checked& checked, int light) {
    return std::string(nameOfClass(*report_of(checked, light)->light_class()));
}

std::string text_of(const LightTable::Use& use) {
    return std::string(use.role->name) + " of light " + std::to_string(use.light_id);
}

// The first role marker of a relation, without quotes; nothing without one.
std::optional<std::string> marker_in(const std::string& optional) {
    const std::size_t at = optional.find(kRoleMarker);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = at + std::string(kRoleMarker).size();
    std::string marker = optional.substr(start, optional.find('|', start) - start);
    if (marker.size() >= 2 && marker.front() == '\'' && marker.back() == '\'') {
        marker = marker.substr(1, marker.size() - 2);
    }
    return marker;
}

void check_msps(const Checked& checked, Findings& findings) {
    std::map<int, int> objects;  // by light
    for (const LightObject& known : checked.database.lights) {
        if (!known.light) {
            findings.push_back({&finding::kMspInvalid, known.id, 0, "'" + known.msp + "'"});
            continue;
        }
        const auto [first, is_new] = objects.emplace(*known.light, known.id);
        if (!is_new) {
            findings.push_back({&finding::kMspTwice, known.id, *known.light,
                                "object " + std::to_string(first->second)});
        }
    }
}

void check_a_light(const Checked& checked, int light, Findings& findings) {
    const LightReport* const report = report_of(checked, light);
    if (report == nullptr) {
        findings.push_back(about_light(checked, finding::kLightMissing, light));
        return;
    }
    if (!is_accepted(checked, *report)) {
        const FindingKind& kind =
            report->is_by_type() ? finding::kModelUnknown : finding::kTypeUnknown;
        findings.push_back(about_light(checked, kind, light, "'" + report->model() + "'"));
    }
    if (!report->is_reachable()) {
        findings.push_back(about_light(checked, finding::kUnreachable, light, report->name()));
    }
}

void check_lights_of_database(const Checked& checked, Findings& findings) {
    if (checked.lights) {
        for (const int light : checked.database.light_numbers()) {
            check_a_light(checked, light, findings);
        }
    }
}

void check_on_off(const Checked& checked, Findings& findings) {
    const auto& entries = checked.database.table.entries();
    for (const int light : checked.database.light_numbers()) {
        const auto found = entries.find(light);
        if (found == entries.end() || found->second.on_off_object < 1) {
            findings.push_back(about_light(checked, finding::kOnOffMissing, light));
        }
    }
}

void check_markers(const Checked& checked, Findings& findings) {
    for (const Relation& relation : checked.database.relations) {
        const auto marker = marker_in(relation.optional);
        const LightRole* const role = LightTable::role_named_in(relation.optional);
        if (!marker) {
            findings.push_back({&finding::kRoleMissing, relation.object, relation.light, ""});
        } else if (role == nullptr || *marker != role->name) {
            const std::string reading =
                role == nullptr ? "" : std::string(", which the daemon reads as ") + role->name;
            findings.push_back({&finding::kRoleUnknown, relation.object, relation.light,
                                "'" + *marker + "'" + reading});
        }
    }
}

void check_roles_of_a_light(const Checked& checked, Findings& findings) {
    for (const Relation& relation : checked.database.relations) {
        const LightRole* const role = LightTable::role_named_in(relation.optional);
        if (role == nullptr) {
            continue;
        }
        const int last = checked.database.table.entries().at(relation.light).*role->object;
        if (last != relation.object) {
            findings.push_back({&finding::kRoleTaken, relation.object, relation.light,
                                std::string(role->name) + " is object " + std::to_string(last)});
        }
    }
}

void check_abilities(const Checked& checked, Findings& findings) {
    for (const auto& [light, entry] : checked.database.table.entries()) {
        const auto abilities = abilities_of(checked, light);
        for (const LightRole& role : LightTable::kRoles) {
            if (abilities && role.needs != nullptr && entry.*role.object > 0 &&
                !((*abilities).*role.needs)) {
                findings.push_back(
                    {&finding::kRoleImpossible, entry.*role.object, light,
                     std::string(role.name) + ", class " + class_of(checked, light)});
            }
        }
    }
}

void check_objects(const Checked& checked, Findings& findings) {
    std::set<int> objects;
    for (const Relation& relation : checked.database.relations) {
        objects.insert(relation.object);
    }
    for (const int object : objects) {
        const auto uses = checked.database.table.uses_of(object);
        if (uses.size() < 2) {
            continue;
        }
        std::string detail;
        for (const LightTable::Use& use : uses) {
            detail += text_of(use) + ", ";
        }
        const auto driven = driven_use(checked, object);
        findings.push_back({&finding::kObjectTwice, object, 0,
                            detail + "driven: " + (driven ? text_of(*driven) : "none")});
    }
}

void check_colours(const Checked& checked, Findings& findings) {
    for (const auto& [light, entry] : checked.database.table.entries()) {
        std::string present;
        std::string missing;
        for (const LightRole& role : LightTable::kRoles) {
            if (std::string(role.name).size() == 1) {
                (entry.*role.object > 0 ? present : missing) += std::string(" ") + role.name;
            }
        }
        if (!present.empty() && !missing.empty()) {
            findings.push_back(
                about_light(checked, finding::kColourIncomplete, light, "missing:" + missing));
        }
    }
}

void check_lights_of_bridge(const Checked& checked, Findings& findings) {
    const std::set<int> used = checked.database.light_numbers();
    for (const auto& [light, report] : checked.lights.value_or(std::map<int, LightReport>())) {
        if (used.count(light) == 0) {
            findings.push_back({&finding::kNotDriven, 0, light, report.name()});
        }
    }
}

// In the order in which their findings are shown.
constexpr void (*kChecks[])(const Checked&, Findings&) = {check_msps,
                                                          check_lights_of_database,
                                                          check_on_off,
                                                          check_markers,
                                                          check_roles_of_a_light,
                                                          check_abilities,
                                                          check_objects,
                                                          check_colours,
                                                          check_lights_of_bridge};

}  // namespace

std::vector<DrivenRole> driven_roles(const Checked& checked, int light) {
    std::vector<DrivenRole> driven;
    const auto found = checked.database.table.entries().find(light);
    if (found == checked.database.table.entries().end()) {
        return driven;
    }
    for (const LightRole& role : LightTable::kRoles) {
        const int object = found->second.*role.object;
        const auto use = driven_use(checked, object);
        if (use && use->light_id == light && use->role == &role) {
            driven.push_back({&role, object});
        }
    }
    return driven;
}

Findings findings_of(const Checked& checked) {
    Findings findings;
    for (const auto check : kChecks) {
        check(checked, findings);
    }
    return findings;
}

}  // namespace huectl
