// huectl pair: a user name from a bridge, by its link button.
#include <algorithm>
#include <chrono>
#include <future>
#include <memory>

#include <unistd.h>

#include "BridgeSession.h"
#include "Commands.h"
#include "Failure.h"
#include "ProgressLine.h"
#include "StdoutCapture.h"
#include "Text.h"
#include "Values.h"
#include "huelib/Hue.h"
#include "libcbase/memory.h"
#include "libcbase/utility.h"

namespace huectl {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRedrawPeriod{100};
constexpr std::size_t kShownCharacters = 200;  // of a line of the library

// The library's pairing on a thread of its own; its lines appear whole, the countdown below them.
std::string request_username(Hue& bridge, const std::string& address, bool is_for_scripts) {
    StdoutCapture capture;
    ProgressLine progress;
    const int lines_go_to = is_for_scripts ? STDERR_FILENO : capture.original();
    const auto print = [&](const std::vector<std::string>& lines) {
        for (const std::string& line : lines) {
            progress.print(lines_go_to, printable(line, kShownCharacters));
        }
    };
    const auto end = steady_clock::now() + Hue::kPairingPeriod;
    auto pairing = std::async(std::launch::async, [&] {
        std::string username;
        talk_to(address, [&] { username = bridge.requestUsername(address); });
        return username;
    });
    while (pairing.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        print(capture.lines(kRedrawPeriod));
        const auto left = std::chrono::ceil<std::chrono::seconds>(end - steady_clock::now());
        progress.show("Press the button on the bridge: " +
                      std::to_string(std::max<long long>(left.count(), 0)) + " s left");
    }
    print(capture.finish());
    return pairing.get();
}

// Between quotes in the optional parameters, in a request's path, and in the daemon's memory.
void expect_storable(const std::string& username) {
    const bool fits = username.find_first_of("'\"|") == std::string::npos;
    try {
        user_of(username);
    } catch (const Failure&) {
        throw Failure(
            ExitCode::refused,
            "the bridge gave a user name that no request can hold; pair again for another one");
    }
    if (!fits) {
        throw Failure(ExitCode::refused,
                      "the bridge gave a user name that the optional parameters cannot hold (a "
                      "quote or a |); pair again for another one");
    }
}

std::string optional_parameters(const std::string& address, const std::string& username) {
    linkedlist* variables = linkedlist_init();
    // Each goes to the head of the list.
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
                          address + " does not answer as a bridge does; check the address");
        }
        throw Failure(ExitCode::refused,
                      refusal->type == Refusal::kLinkButtonNotPressed
                          ? "the link button was not pressed in time; try again, and press "
                            "the button on the bridge while the time runs"
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
    return result;
}

}  // namespace huectl
