// huectl pair: gets a user name from a bridge by its link button.
#include <algorithm>
#include <memory>
#include <stdexcept>

#include <unistd.h>

#include "BridgeSession.h"
#include "Commands.h"
#include "Failure.h"
#include "LightReport.h"
#include "ProgressLine.h"
#include "Text.h"
#include "Values.h"
#include "huelib/Hue.h"
#include "libcbase/memory.h"
#include "libcbase/utility.h"

namespace huectl {
namespace {

constexpr std::size_t kShownCharacters = 200;  // of a line of the library

std::string request_username(Hue& bridge, const std::string& address, bool is_for_scripts) {
    ProgressLine progress;
    const auto print = [&, fd = is_for_scripts ? STDERR_FILENO
                                               : STDOUT_FILENO](const std::string& line) {
        progress.print(fd, printable(line, kShownCharacters));
    };
    const auto text = [](long long seconds_left) {
        return "Press the button on the bridge: " + std::to_string(std::max(seconds_left, 0LL)) +
               " s left";
    };
    std::string username;
    progress.count_down(Hue::kPairingPeriod, text, [&] {
        talk_to(address, [&] { username = bridge.requestUsername(address, print); });
    });
    return username;
}

// Throws unless the name fits into a request's path and between quotes in the optional parameters.
void expect_storable(const std::string& username) {
    const bool fits = username.find_first_of("'\"|") == std::string::npos;
    try {
        user_of(username);
    } catch (const Failure&) {
        throw Failure(ExitCode::refused,
                      "the bridge gave a user name that cannot be sent in a request; pair again to "
                      "get another");
    }
    if (!fits) {
        throw Failure(ExitCode::refused,
                      "the bridge gave a user name that the optional parameters cannot contain (a "
                      "quote or a |); pair again to get another");
    }
}

// Whether the bridge has a light that is driven only by its type. Also false if the bridge does not
// answer: the user name, which it gives only once, must not be lost for that.
bool has_unknown_models(const Hue& bridge) {
    Json::Value lights;
    try {
        lights = bridge.getCommandAPI().GETRequest("/lights");
    } catch (const std::runtime_error&) {
        return false;
    }
    return lights.isObject() && std::any_of(lights.begin(), lights.end(), [](const auto& light) {
               return LightReport(0, light).is_by_type();
           });
}

std::string optional_parameters(const std::string& address, const std::string& username,
                                const char* unknown_models = nullptr) {
    linkedlist* variables = linkedlist_init();
    // Each is inserted at the head: the address comes first.
    if (unknown_models != nullptr) {
        optionalp_variables_insertorreplace(variables, "unknown_models", unknown_models,
                                            OPTIONALP_STRING);
    }
    optionalp_variables_insertorreplace(variables, "username", username.c_str(), OPTIONALP_STRING);
    optionalp_variables_insertorreplace(variables, "ip_address", address.c_str(), OPTIONALP_STRING);
    char* encoded = encode_optionalp_variables(variables);
    std::string text = encoded;
    xfree(encoded);
    linkedlist_deinit(&variables);
    return text;
}

}  // namespace

Result pair(const std::string& address, bool is_for_scripts) {
    const auto transport = std::make_shared<ObservingHttpHandler>();
    Hue bridge(address, "", transport);
    const std::string username = request_username(bridge, address, is_for_scripts);
    if (username.empty()) {
        const auto refusal = transport->take_refusal();
        if (!refusal) {
            throw Failure(ExitCode::not_reached,
                          address + " does not answer like a bridge; check the address");
        }
        throw Failure(ExitCode::refused,
                      refusal->type == Refusal::kLinkButtonNotPressed
                          ? "the link button was not pressed in time; try again, and press the "
                            "button on the bridge within 35 seconds"
                          : refusal->text());
    }
    expect_storable(username);
    const std::string parameters = optional_parameters(address, username);
    Result result;
    result.text = "User name: " + username + "\nOptional parameters of the bridge object:\n" +
                  parameters + "\n";
    result.json["address"] = address;
    result.json["username"] = username;
    result.json["optional_parameters"] = parameters;
    if (has_unknown_models(bridge)) {
        const std::string by_type = optional_parameters(address, username, "by_type");
        result.text +=
            "Some lights are of unknown models; with this text instead, the daemon "
            "controls them by their type:\n" +
            by_type + "\n";
        result.json["optional_parameters_by_type"] = by_type;
    }
    return result;
}

}  // namespace huectl
