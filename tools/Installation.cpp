#include "Installation.h"

#include <algorithm>
#include <map>

#include "libcbase/DBManagerutil.h"
#include "libcbase/utility.h"
#include "libtavdb/db_request.h"

namespace huectl {
namespace {

using Rows = std::vector<hue_handler::LightTable::Row>;

constexpr int kHighestLight = 255;  // the daemon keeps a light by 8 bits of its number

// The IDs of the light objects, which the daemon does not need, and those without a relation. msp
// is the last column: a comma in it does not move the ID.
std::string query_of_light_objects(int bridge) {
    return "SELECT vexad_object.id, vexad_object.msp FROM vexad_object "
           "INNER JOIN vexad_object_relation "
           "ON vexad_object.id = vexad_object_relation.childobj_id "
           "WHERE vexad_object_relation.parentobj_id = " +
           std::to_string(bridge) + " ORDER BY vexad_object.id";
}

const FindingKind& kind_of_failure(int result) {
    switch (result) {
        case DBMANAGER_CONNECT_FAILED:
            return finding::kDatabaseNotReached;
        case DBMANAGER_SEND_FAILED:
        case DBMANAGER_RECEIVE_FAILED:
            return finding::kDatabaseNoAnswer;
        default:
            return finding::kDatabaseRefused;
    }
}

// Nothing after a failure, which is added to `findings`.
std::optional<Rows> query(const std::string& statement, Findings& findings) {
    const libtavdb::db_request request(DBMANAGER_PORT, statement.c_str());
    if (*request.get_last_error() != '\0') {
        findings.push_back({&kind_of_failure(request.get_result()), 0, 0,
                            "result " + std::to_string(request.get_result())});
        return std::nullopt;
    }
    Rows rows;
    for (const auto& [number, row] : request.rows) {
        rows.push_back(row);
    }
    return rows;
}

std::string cell(const Rows::value_type& row, const char* column) {
    const auto found = row.find(column);
    return found == row.end() ? std::string() : found->second;
}

std::optional<int> number_in(const std::string& text, int smallest, int largest) {
    std::int32_t number = 0;
    const bool is_number = parse_int32(text.c_str(), 10, &number) == PARSE_NUMBER_OK;
    return is_number && number >= smallest && number <= largest ? std::make_optional(number)
                                                                : std::nullopt;
}

void read_parameters(Installation& installation, const Rows& rows, Findings& findings) {
    if (rows.empty()) {
        findings.push_back({&finding::kObjectUnknown, installation.object, 0, ""});
    }
    installation.has_bridge = !rows.empty();
    for (const auto& row : rows) {
        for (const char* missing : installation.bridge.read(cell(row, "OPTIONALP"))) {
            findings.push_back({&finding::kParameterMissing, installation.object, 0, missing});
            installation.has_bridge = false;
        }
    }
    if (installation.bridge.has_invalid_unknown_models()) {
        findings.push_back({&finding::kUnknownModelsInvalid, installation.object, 0,
                            "'" + *installation.bridge.unknown_models + "'"});
    }
}

// A row without an ID is the rest of a value with a line feed.
void read_light_objects(Installation& installation, const Rows& rows) {
    for (const auto& row : rows) {
        const std::string msp = cell(row, "MSP");
        if (const auto id = number_in(cell(row, "ID"), 1, INT32_MAX)) {
            installation.lights.push_back({*id, msp, number_in(msp, 1, kHighestLight)});
        }
    }
}

void read_relations(Installation& installation, const Rows& rows, Findings& findings) {
    for (const auto& row : rows) {
        const std::string msp = cell(row, "MSP");
        const std::string skipped = installation.table.add_row(row);
        const auto light = number_in(msp, INT32_MIN, INT32_MAX);
        const auto object = number_in(cell(row, "CHILDOBJ_ID"), 1, INT32_MAX);
        if (light && object) {
            installation.relations.push_back({*light, *object, cell(row, "OPTIONAL")});
            continue;
        }
        // A bad msp is found with its light object.
        const bool is_found =
            !light && std::any_of(installation.lights.begin(), installation.lights.end(),
                                  [&msp](const LightObject& known) { return known.msp == msp; });
        if (!is_found) {
            findings.push_back({&finding::kRowInvalid, 0, light.value_or(0),
                                skipped.empty()
                                    ? "CHILDOBJ_ID='" + cell(row, "CHILDOBJ_ID") + "' is no object"
                                    : skipped});
        }
    }
}

}  // namespace

std::set<int> Installation::light_numbers() const {
    std::set<int> numbers;
    for (const LightObject& known : lights) {
        if (known.light) {
            numbers.insert(*known.light);
        }
    }
    for (const auto& [light, entry] : table.entries()) {
        if (light >= 1 && light <= kHighestLight) {
            numbers.insert(light);
        }
    }
    return numbers;
}

Installation read_installation(int object, Findings& findings) {
    Installation installation;
    installation.object = object;
    const auto id = static_cast<std::uint32_t>(object);
    const auto parameters = query(hue_handler::BridgeObject::query(id), findings);
    if (!parameters) {
        return installation;
    }
    read_parameters(installation, *parameters, findings);
    if (parameters->empty()) {
        return installation;
    }
    if (const auto objects = query(query_of_light_objects(object), findings)) {
        read_light_objects(installation, *objects);
        if (const auto rows = query(hue_handler::LightTable::query(id), findings)) {
            read_relations(installation, *rows, findings);
            installation.has_table = true;
        }
    }
    return installation;
}

}  // namespace huectl
