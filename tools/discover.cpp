// huectl discover: lists the bridges of the local network.
#include <string>
#include <vector>

#include "BridgeSession.h"
#include "Commands.h"
#include "Discovery.h"
#include "Failure.h"
#include "ProgressLine.h"
#include "Text.h"

namespace huectl {
namespace {

constexpr const char* kByHand = "look up the address in the router and run huectl pair ADDRESS";

using Bridge = BridgeSearch::Bridge;

std::vector<std::string> ways_of(const Bridge& bridge) {
    std::vector<std::string> ways;
    if (bridge.isFoundBySsdp) {
        ways.emplace_back("SSDP");
    }
    if (bridge.isFoundByMdns) {
        ways.emplace_back("mDNS");
    }
    return ways;
}

std::string or_dash(const std::string& text) {
    return text.empty() ? "-" : text;
}

Row row_of(const Bridge& bridge) {
    std::string found_by;
    for (const std::string& way : ways_of(bridge)) {
        found_by += (found_by.empty() ? "" : ", ") + way;
    }
    return {bridge.address,        or_dash(bridge.id),       or_dash(bridge.name),
            or_dash(bridge.model), or_dash(bridge.software), found_by};
}

Json::Value json_of(const Bridge& bridge) {
    Json::Value json;
    json["address"] = bridge.address;
    json["id"] = bridge.id;
    json["name"] = bridge.name;
    json["model"] = bridge.model;
    json["software"] = bridge.software;
    json["api"] = bridge.api;
    json["answers"] = bridge.isDescribed;
    json["also_at"] = Json::Value(Json::arrayValue);
    for (const std::string& address : bridge.alsoAt) {
        json["also_at"].append(address);
    }
    for (const std::string& way : ways_of(bridge)) {
        json["found_by"].append(way);
    }
    return json;
}

std::string lines_of_other_addresses(const Bridge& bridge) {
    std::string lines;
    for (const std::string& address : bridge.alsoAt) {
        lines += bridge.id + " also answers at " + address +
                 ": the bridge has several addresses, or a device copies its ID\n";
    }
    return lines;
}

}  // namespace

std::vector<Bridge> find_bridges() {
    const auto text = [](long long seconds_left) {
        return seconds_left > 0
                   ? "Searching for bridges: " + std::to_string(seconds_left) + " s left"
                   : "Searching for bridges";
    };
    std::vector<Bridge> found;
    ProgressLine().count_down(BridgeSearch::kLimit, text, [&] {
        talk_to(
            "the network", [&] { found = BridgeSearch().find(); },
            std::string("check the network cable, or ") + kByHand);
    });
    return found;
}

Result discover(bool is_verbose) {
    Result result;
    result.exit_code = ExitCode::refused;
    result.json["bridges"] = Json::Value(Json::arrayValue);
    std::vector<Row> rows = {{"address", "bridge ID", "name", "model", "software", "found by"}};
    std::string notes;
    std::size_t silent = 0;
    for (const Bridge& bridge : find_bridges()) {
        if (bridge.isDescribed) {
            result.exit_code = ExitCode::done;
        } else {
            ++silent;
        }
        if (bridge.isDescribed || is_verbose) {
            rows.push_back(row_of(bridge));
            result.json["bridges"].append(json_of(bridge));
            notes += lines_of_other_addresses(bridge);
        }
    }
    if (rows.size() == 1) {
        throw Failure(ExitCode::refused,
                      silent == 0 ? std::string("no bridge was found; check its power and its "
                                                "network cable, or ") +
                                        kByHand
                                  : "no bridge answers; devices that only announce themselves: " +
                                        std::to_string(silent) + "; add --verbose to list them");
    }
    result.text = table(rows) + notes;
    return result;
}

}  // namespace huectl
