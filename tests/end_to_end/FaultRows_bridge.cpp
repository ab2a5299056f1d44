// Faults of the bridge.
#include "FaultRows.h"

namespace {

using simulator::Bridge;
using Steps = FaultRow::Steps;
using Injection = std::function<void(Bridge&)>;
using Length = FaultRow::Length;
using Milliseconds = Trial::Milliseconds;

void expect_failures(Trial& trial, const std::string& line, int commands) {
    trial.expect_failures(commands, line);
    trial.random_pause();
}

void refuse(Trial& trial) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.bridge().inject_fault("cut");
    trial.change_bulb();
    expect_failures(trial, "Connection refused (light id = ", 5);
    trial.wait_for_log("Connection refused (bridge disconnected)");
    trial.wait_for_log("Skipping light state updates, unable to retrieve a refreshed state");
}

void reboot(Trial& trial) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.bridge().inject_fault("reset");
    expect_failures(trial, "Connection reset by peer (light id = ", 3);
    trial.bridge().inject_fault("cut");
    expect_failures(trial, "Connection refused (light id = ", 3);
}

void wait_for_second_read(Trial& trial) {
    const auto start = Trial::Clock::now();
    trial.wait_until(
        "second read of the lights",
        [&] { return trial.log().count("end of initial state updates") > 1; },
        std::chrono::minutes(20));
    trial.note("the lights are read " +
               text_of(std::chrono::duration_cast<Milliseconds>(Trial::Clock::now() - start)) +
               " after the bridge is up");
}

void be_down_at_start(Trial& trial) {
    trial.bridge().inject_fault("cut");
    trial.expect(trial.house().start().has_value(), "the daemon does not start");
    trial.wait_for_log("Connection refused (light id = 6)");
    expect_failures(trial, "peekLight(): light id is not valid", 5);
    trial.random_pause(Milliseconds(30000));
    trial.bridge().recover();
    wait_for_second_read(trial);
}

// The bridge recovers before the daemon's time-out, for which a test does not wait. The longer rows
// wait for it.
Steps hang_briefly(const Injection& inject) {
    return [inject](Trial& trial) {
        trial.start();
        trial.random_pause(Milliseconds(4000));
        inject(trial.bridge());
        const int before = trial.bridge().gate().connections();
        trial.send_commands(3);
        trial.wait_until("hanging request",
                         [&] { return trial.bridge().gate().connections() > before; });
        trial.send_commands(2);
    };
}

Steps hang(const Injection& inject, const char* reason = "Resource temporarily unavailable") {
    return [inject, reason](Trial& trial) {
        trial.start();
        trial.random_pause(Milliseconds(4000));
        inject(trial.bridge());
        trial.send_commands(3);
        trial.change_bulb();
        trial.wait_for_log(std::string(reason) + " (light id = ", std::chrono::seconds(60));
    };
}

void stall(Bridge& bridge) {
    bridge.inject_fault("stall");
}
void stall_in_header(Bridge& bridge) {
    bridge.inject_fault("stall-header");
}
void stall_in_body(Bridge& bridge) {
    bridge.inject_fault("stall-body");
}
// The answer for a light has some 350 bytes and would take a minute.
void trickle(Bridge& bridge) {
    bridge.send_slowly(Milliseconds(170));
}

void answer_slowly(Trial& trial) {
    trial.start();
    trial.bridge().inject_fault("slow");
    trial.change_bulb();
    trial.send_commands(3);
    trial.wait_until_settled();
}

// Commands fail; so does a poll after the pause that follows them.
Steps answer_badly(const Injection& inject, const char* line,
                   const char* line_of_poll = "(bridge disconnected)") {
    return [inject, line, line_of_poll](Trial& trial) {
        trial.start();
        trial.random_pause(Milliseconds(4000));
        inject(trial.bridge());
        expect_failures(trial, line, 5);
        trial.wait_for_log(line_of_poll);
    };
}

constexpr const char* kInvalidJson = "strToJsonValue() (light id = ";
constexpr const char* kNotConfirmed = "the bridge did not confirm the command (light id = ";

// A brightness fails at its GET. A colour is sent without one, so the bridge carries it out.
void send_half(Trial& trial) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.bridge().inject_fault("half");
    trial.send_commands(5);
    trial.wait_for_log(kInvalidJson);
    trial.wait_until_settled();
    trial.wait_for_log("(bridge disconnected)");
}

void remove_light(Trial& trial) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.bridge().remove_light(4);
    trial.send_commands(10);
    trial.wait_for_log(kNotConfirmed);
    trial.wait_until_settled();
    trial.wait_for_log("(light id = 4)");
    const auto polled = [&] { return trial.log().count("light status from bridge received"); };
    const std::size_t before = polled();
    trial.wait_until("poll without the light", [&] { return polled() > before; });
}

// A command for the missing light has its log line; commands for the others are carried out.
void miss_light_at_start(Trial& trial) {
    trial.bridge().remove_light(3);
    trial.start();
    trial.wait_for_log("Error in Hue getLight(): light id is not valid (light id = 3)");
    trial.expect(trial.core().run_object(132, "50") == 0, "a command was not acknowledged");
    trial.wait_for_log(
        "Request manager thread error: Error in Hue peekLight(): light id is not valid "
        "(light id = 3)");
    trial.send_commands(5);
    trial.wait_until_settled();
}

void add_light_later(Trial& trial) {
    miss_light_at_start(trial);
    trial.random_pause(Milliseconds(30000));
    trial.bridge().recover();
    wait_for_second_read(trial);
    trial.expect(trial.core().run_object(132, "50") == 0, "a command was not acknowledged");
    trial.wait_until("command for the new light",
                     [&] { return trial.house().light(3).brightness() == 127; });
}

}  // namespace

std::vector<FaultRow> bridge_rows() {
    return {
        {"BridgeRefuses", "bridge refuses every connection", refuse},
        {"BridgeReboots", "bridge reboots: resets, refuses, recovers", reboot},
        {"BridgeIsDownAtTheStart", "bridge is down while the daemon starts", be_down_at_start,
         Length::quarter_of_an_hour},
        {"BridgeHangs", "bridge hangs briefly after a request", hang_briefly(stall)},
        {"BridgeHangsInTheHeader", "bridge hangs briefly in the middle of a header",
         hang_briefly(stall_in_header)},
        {"BridgeHangsInTheBody", "bridge hangs briefly in the middle of a body",
         hang_briefly(stall_in_body)},
        {"BridgeHangsInConnectForLong", "bridge hangs while connecting",
         hang([](Bridge& bridge) { bridge.inject_fault("hang"); }, "Operation now in progress"),
         Length::minutes},
        {"BridgeHangsForLong", "bridge never answers requests", hang(stall), Length::minutes},
        {"BridgeHangsInTheHeaderForLong", "bridge hangs in the middle of every header",
         hang(stall_in_header), Length::minutes},
        {"BridgeHangsInTheBodyForLong", "bridge hangs in the middle of every body",
         hang(stall_in_body), Length::minutes},
        {"BridgeTrickles", "bridge sends a byte every 170 ms", hang(trickle), Length::minutes},
        {"BridgeIsSlow", "bridge sends a byte a millisecond", answer_slowly},
        {"BridgeSendsPages", "bridge answers with a 503 page",
         answer_badly([](Bridge& bridge) { bridge.inject_fault("html"); }, kInvalidJson)},
        {"BridgeSendsGarbage", "bridge answers with bytes that are not HTTP",
         answer_badly([](Bridge& bridge) { bridge.inject_fault("garbage"); },
                      "Failed to find body in response (light id = ")},
        {"BridgeSendsHalf", "bridge closes in the middle of every answer", send_half},
        {"BridgeForgetsItsUser", "the user is deleted at the bridge",
         answer_badly([](Bridge& bridge) { bridge.inject_fault("forgetful"); },
                      "the bridge refused the request: unauthorized user (light id = ",
                      "Answer in Hue::refreshLights of ")},
        {"BridgeRemovesALight", "a light is removed from the bridge and added again", remove_light},
        {"LightIsMissingAtTheStart", "a light is missing at the start", miss_light_at_start},
        {"LightIsAddedLater", "a light is missing at the start and added later", add_light_later,
         Length::quarter_of_an_hour},
    };
}
