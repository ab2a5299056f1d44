// huectl lights, light and forget.
#include <charconv>
#include <cstdio>
#include <iostream>
#include <map>

#include <unistd.h>

#include "BridgeSession.h"
#include "Commands.h"
#include "Failure.h"
#include "LightReport.h"
#include "Text.h"

namespace huectl {
namespace {

// In the order of their IDs. A member whose name is not an ID is not a light.
std::map<int, LightReport> reports_of(const Json::Value& listed) {
    std::map<int, LightReport> reports;
    for (const std::string& name : listed.getMemberNames()) {
        int id = 0;
        const char* const end = name.data() + name.size();
        const auto [stop, problem] = std::from_chars(name.data(), end, id);
        if (problem == std::errc() && stop == end && id > 0) {
            reports.emplace(id, LightReport(id, listed[name]));
        }
    }
    return reports;
}

Result result_of(const LightReport& report) {
    return {table({report.heading(), report.row()}), report.json()};
}

std::string title_of(const LightReport& report) {
    return "light " + std::to_string(report.id()) + " \"" + printable(report.name(), 40) + "\"";
}

void expect_capable(const LightReport& report, const std::vector<Step>& steps) {
    const auto light_class = report.light_class();
    if (!light_class) {
        throw Failure(ExitCode::refused,
                      title_of(report) + " is of a model (" + printable(report.model(), 40) +
                          ") that is not in the catalogue; huectl cannot change it");
    }
    for (const Step& step : steps) {
        const bool is_capable =
            step.needs == Capability::none ||
            (step.needs == Capability::temperature &&
             light_class->temperature != LightCatalogue::TemperatureControl::none) ||
            (step.needs == Capability::colour &&
             light_class->hue != LightCatalogue::HueControl::none);
        if (!is_capable) {
            throw Failure(ExitCode::refused, title_of(report) + " is a light of class " +
                                                 name_of_class(light_class->colorType) +
                                                 ", which cannot do " + step.option +
                                                 "; huectl lights shows the classes");
        }
    }
}

// Only "y", "Y" and "yes" agree.
bool is_agreed(const std::string& question) {
    std::fputs((question + " [y/N] ").c_str(), stderr);
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "yes" || answer == "Y";
}

}  // namespace

Result lights(const Access& access) {
    BridgeSession session(access.address, access.user);
    Result result;
    result.json["lights"] = Json::Value(Json::arrayValue);
    std::vector<Row> rows = {LightReport(0, Json::Value()).heading()};
    for (const auto& [id, report] : reports_of(session.lights())) {
        rows.push_back(report.row());
        result.json["lights"].append(report.json());
    }
    result.text = table(rows);
    return result;
}

Result light(const Access& access, int id, const LightOptions& options) {
    const std::vector<Step> steps = steps_of(options);
    BridgeSession session(access.address, access.user);
    const LightReport before(id, session.light(id));
    if (steps.empty()) {
        return result_of(before);
    }
    expect_capable(before, steps);
    session.carry_out("light", [id](Hue& bridge) {
        bridge.getLight(id);
        return true;
    });
    for (const Step& step : steps) {
        session.carry_out(step.option, [&](Hue& bridge) { return step.act(bridge.peekLight(id)); });
    }
    return result_of(LightReport(id, session.light(id)));
}

Result forget(const Access& access, int id, bool is_confirmed) {
    if (!is_confirmed && isatty(STDIN_FILENO) == 0) {
        throw Failure(ExitCode::usage,
                      "forget asks before it removes a light, but standard input is not a "
                      "terminal; add --yes");
    }
    BridgeSession session(access.address, access.user);
    const LightReport report(id, session.light(id));
    if (!is_confirmed && !is_agreed("Remove " + title_of(report) + " from the bridge?")) {
        throw Failure(ExitCode::refused, "the light was not removed; answer y to remove it");
    }
    session.carry_out("forget", [id](Hue& bridge) { return bridge.removeLight(id); });
    Result result;
    result.text = "Removed " + title_of(report) + " from the bridge\n";
    result.json["id"] = id;
    result.json["removed"] = true;
    return result;
}

}  // namespace huectl
