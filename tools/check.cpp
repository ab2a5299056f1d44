// huectl check: what an installer must know of an installation before starting the daemon.
#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <stdexcept>
#include <system_error>
#include <tuple>
#include <utility>

#include "BridgeSession.h"
#include "Commands.h"
#include "Discovery.h"
#include "InstallationChecks.h"
#include "ObservingHttpHandler.h"
#include "Text.h"
#include "Values.h"
#include "huelib/Hue.h"

namespace huectl {
namespace {

constexpr std::ptrdiff_t kIdentityCells = 4;  // of LightReport::row(): id, name, model, class

// False, and a finding, for a parameter that cannot be sent.
bool is_usable(const Installation& installation, Findings& findings) {
    const auto& [address, user] =
        std::tie(installation.bridge.ip_address, installation.bridge.username);
    const std::size_t before = findings.size();
    const auto check = [&](const char* name, const std::string& value,
                           std::string (*read)(const std::string&)) {
        try {
            read(value);
        } catch (const Failure&) {
            findings.push_back({&finding::kParameterInvalid, installation.object, 0,
                                std::string(name) + " '" + value + "'"});
        }
    };
    check("ip_address", address, address_of);
    check("username", user, user_of);
    return findings.size() == before;
}

// The kind of a failure with its detail; nothing with the lights in `lights`.
std::optional<Finding> ask_bridge(const Installation& installation, BridgeLights& lights) {
    const std::string& address = installation.bridge.ip_address;
    const auto finding = [&](const FindingKind& kind, const std::string& detail) {
        return Finding{&kind, installation.object, 0, detail};
    };
    const auto transport = std::make_shared<ObservingHttpHandler>();
    try {
        const Hue bridge(address, installation.bridge.username, transport);
        const Json::Value answer = bridge.getCommandAPI().GETRequest("/lights");
        if (const auto refusal = transport->take_refusal()) {
            return refusal->type == Refusal::kUnauthorized
                       ? finding(finding::kUserUnauthorized, address)
                       : finding(finding::kBridgeRefused, refusal->description);
        }
        auto reports = reports_of(answer);
        // A bridge without lights answers {}.
        if (reports.empty() && !(answer.isObject() && answer.empty())) {
            return finding(finding::kNotABridge, address);
        }
        lights = std::move(reports);
        return std::nullopt;
    } catch (const std::system_error& failure) {
        if (is_of_this_machine(failure)) {
            throw;
        }
        return finding(finding::kBridgeNotReached, address + " (" + reason_of(failure) + ")");
    } catch (const std::runtime_error&) {
        return finding(finding::kNotABridge, address);
    }
}

// Adds the bridges that answer to the detail and to the JSON. Throws a Failure without a network.
void search_bridges(std::string& detail, Json::Value& json) {
    std::string list;
    Json::Value listed(Json::arrayValue);
    for (const BridgeSearch::Bridge& bridge : find_bridges()) {
        if (bridge.isDescribed) {
            list += (list.empty() ? "" : ", ") + bridge.address;
            list += bridge.id.empty() ? "" : " (" + bridge.id + ")";
            Json::Value found;
            found["address"] = bridge.address;
            found["id"] = bridge.id;
            found["name"] = bridge.name;
            listed.append(found);
        }
    }
    json["bridges"] = listed;
    detail += list.empty() ? "; no bridge answers a search" : "; bridges answer at " + list;
}

// Reads the lights. Searches for bridges if the address has no bridge that answers.
void read_bridge(const Installation& installation, BridgeLights& lights, Findings& findings,
                 Json::Value& json) {
    auto failure = ask_bridge(installation, lights);
    if (!failure) {
        return;
    }
    if (failure->kind->exit_code == ExitCode::not_reached) {
        try {
            search_bridges(failure->detail, json);
        } catch (const Failure&) {
            failure->detail += "; the network cannot be searched";
        }
    }
    findings.push_back(*failure);
}

// A row of the table, and its JSON.
void show_light(const Checked& checked, int light, std::vector<Row>& rows, Json::Value& json) {
    const LightReport* const report = report_of(checked, light);
    Row row(kIdentityCells, "-");
    row.front() = std::to_string(light);
    Json::Value shown;
    shown["id"] = light;
    if (report != nullptr) {
        row.assign(report->row().begin(), report->row().begin() + kIdentityCells);
        for (const char* member : {"name", "model", "class", "by_type", "reachable"}) {
            if (report->json().isMember(member)) {
                shown[member] = report->json()[member];
            }
        }
    }
    row.emplace_back(report == nullptr ? "-" : report->is_reachable() ? "yes" : "no");
    shown["roles"] = Json::Value(Json::objectValue);
    std::string roles;
    for (const DrivenRole& driven : driven_roles(checked, light)) {
        shown["roles"][driven.role->name] = driven.object;
        roles += (roles.empty() ? "" : " ") + std::string(driven.role->name);
    }
    row.push_back(roles.empty() ? "-" : roles);
    rows.push_back(row);
    json["lights"].append(shown);
}

std::string show_lights(const Checked& checked, Json::Value& json) {
    const LightReport untitled(0, Json::Value());
    Row heading(untitled.heading().begin(), untitled.heading().begin() + kIdentityCells);
    heading.insert(heading.end(), {"reachable", "driven roles"});
    std::vector<Row> rows = {heading};
    std::set<int> numbers = checked.database.light_numbers();
    for (const auto& [light, report] : checked.lights.value_or(std::map<int, LightReport>())) {
        numbers.insert(light);
    }
    json["lights"] = Json::Value(Json::arrayValue);
    for (const int light : numbers) {
        show_light(checked, light, rows, json);
    }
    return rows.size() > 1 ? table(rows) + "\n" : "";
}

void show_findings(Findings findings, Result& result) {
    const auto severity = [](const Finding& finding) { return finding.kind->severity; };
    std::stable_sort(findings.begin(), findings.end(),
                     [&](const Finding& a, const Finding& b) { return severity(a) < severity(b); });
    std::array<int, kSeverities.size()> counts{};
    result.json["findings"] = Json::Value(Json::arrayValue);
    for (const Finding& finding : findings) {
        result.text += finding.line();
        result.json["findings"].append(finding.json());
        result.exit_code = std::max(result.exit_code, finding.kind->exit_code);
        ++counts.at(static_cast<std::size_t>(severity(finding)));
    }
    result.text +=
        "Errors: " + std::to_string(counts[0]) + ", warnings: " + std::to_string(counts[1]) + "\n";
}

}  // namespace

Result check(int object) {
    Result result;
    Findings findings;
    BridgeLights lights;
    result.json["object"] = object;
    const Installation installation = read_installation(object, findings);
    if (installation.has_bridge && is_usable(installation, findings)) {
        read_bridge(installation, lights, findings, result.json);
    }
    if (installation.has_table) {
        const Checked checked{installation, lights};
        result.text = show_lights(checked, result.json);
        const Findings found = findings_of(checked);
        findings.insert(findings.end(), found.begin(), found.end());
    }
    show_findings(std::move(findings), result);
    return result;
}

}  // namespace huectl
