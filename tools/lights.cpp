// huectl lights, light and forget.
#include <cstdio>
#include <iostream>

#include <unistd.h>

#include "BridgeSession.h"
#include "Commands.h"
#include "Failure.h"
#include "LightReport.h"
#include "ProgressLine.h"
#include "Text.h"
#include "huelib/ColorConversion.h"

namespace huectl {
namespace {

constexpr const char* kByTypeHint =
    "Lights \"by type\" are of unknown models. The daemon controls them if the optional parameters "
    "of the bridge\nobject have unknown_models='by_type'; \"huectl light\" does with --by-type.\n";

Result result_of(const LightReport& report) {
    return {table({report.heading(), report.row()}), report.json()};
}

std::string title_of(const LightReport& report) {
    return "light " + std::to_string(report.id()) + " \"" + printable(report.name(), 40) + "\"";
}

void expect_capable(const LightReport& report, const std::vector<Step>& steps,
                    bool is_type_enough) {
    const auto light_class = report.light_class();
    if (!light_class || (report.is_by_type() && !is_type_enough)) {
        throw Failure(ExitCode::refused,
                      title_of(report) + " is of a model (" + printable(report.model(), 40) +
                          ") that is not in the catalogue; " +
                          (light_class ? "add --by-type to control it as its type allows"
                                       : "huectl cannot change it"));
    }
    for (const Step& step : steps) {
        if (step.needs && !step.needs(*light_class)) {
            throw Failure(ExitCode::refused, title_of(report) + " is a light of class " +
                                                 std::string(nameOfClass(*light_class)) +
                                                 ", which cannot do " + step.option +
                                                 "; huectl lights shows the classes");
        }
    }
}

// In the unit of the option.
std::string text_of(const LightReport::MiredRange& range, const std::string& option) {
    const auto kelvin = ColorConversion::reciprocalTemperature;
    return option == "--mired"
               ? std::to_string(range.min) + " to " + std::to_string(range.max) + " mired"
               : std::to_string(kelvin(range.max)) + " to " + std::to_string(kelvin(range.min)) +
                     " K";
}

// The temperature is sent as it is: the light takes the nearest one that it has.
void warn_of_range(const LightReport& report, const std::vector<Step>& steps,
                   const LightOptions& options) {
    const auto range = report.mired_range();
    for (const Step& step : steps) {
        if (range && step.mired && (*step.mired < range->min || *step.mired > range->max)) {
            write_all(STDERR_FILENO, "huectl: warning: " + title_of(report) + " has only " +
                                         text_of(*range, step.option) + ", not " + step.option +
                                         " " + options.at(step.option) + "\n");
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
    bool has_unknown_models = false;
    for (const auto& [id, report] : reports_of(session.lights())) {
        rows.push_back(report.row());
        result.json["lights"].append(report.json());
        has_unknown_models = has_unknown_models || report.is_by_type();
    }
    result.text = table(rows) + (has_unknown_models ? kByTypeHint : "");
    return result;
}

Result light(const Access& access, int id, const LightOptions& options) {
    const std::vector<Step> steps = steps_of(options);
    BridgeSession session(access.address, access.user);
    const LightReport before(id, session.light(id));
    if (steps.empty()) {
        return result_of(before);
    }
    const bool is_type_enough = options.count(kByType) != 0;
    expect_capable(before, steps, is_type_enough);
    warn_of_range(before, steps, options);
    session.carry_out("light", [id, is_type_enough](Hue& bridge) {
        bridge.driveUnknownModelsByType(is_type_enough);
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
