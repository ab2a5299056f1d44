// What a bridge does.
#include "FaultRows.h"

namespace {

using simulator::Bridge;
using Course = FaultRow::Course;
using How = std::function<void(Bridge&)>;
using Length = FaultRow::Length;
using Milliseconds = Trial::Milliseconds;

// The commands that are asked for meet the fault: each fails, with its line.
void fails(Trial& trial, const std::string& line, int commands) {
    trial.asks(commands);
    trial.awaits_log(line);
    trial.awaits_settled();
    trial.pauses();
}

void refuses(Trial& trial) {
    trial.starts();
    trial.pauses(Milliseconds(4000));
    trial.bridge().refuses();
    trial.changes_a_bulb();
    fails(trial, "Connection refused (light id = ", 5);
    trial.awaits_log("Connection refused (bridge disconnected)");
    trial.awaits_log("Skipping light state updates, unable to retrieve a refreshed state");
}

void reboots(Trial& trial) {
    trial.starts();
    trial.pauses(Milliseconds(4000));
    trial.bridge().drops_connections();
    fails(trial, "Connection reset by peer (light id = ", 3);
    trial.bridge().refuses();
    fails(trial, "Connection refused (light id = ", 3);
}

void awaits_second_read(Trial& trial) {
    const auto start = Trial::Clock::now();
    trial.awaits(
        "a second read of the lights",
        [&] { return trial.log().count("end of initial state updates") > 1; },
        std::chrono::minutes(20));
    trial.sees("the lights are known " +
               text_of(std::chrono::duration_cast<Milliseconds>(Trial::Clock::now() - start)) +
               " after the bridge");
}

void is_down_at_the_start(Trial& trial) {
    trial.bridge().refuses();
    trial.requires_that(trial.house().start().has_value(), "the daemon does not start");
    trial.awaits_log("Connection refused (light id = 6)");
    fails(trial, "peekLight(): light id is not valid", 5);
    trial.pauses(Milliseconds(30000));
    trial.bridge().recovers();
    awaits_second_read(trial);
}

// A bridge that hangs is given up by the daemon after a time that a test does not wait for: it
// comes back in the middle, and the time-out is what the longer rows are for.
Course hangs_for_a_moment(const How& how) {
    return [how](Trial& trial) {
        trial.starts();
        trial.pauses(Milliseconds(4000));
        how(trial.bridge());
        const int before = trial.bridge().gate().connections();
        trial.asks(3);
        trial.awaits("a request that hangs",
                     [&] { return trial.bridge().gate().connections() > before; });
        trial.asks(2);
    };
}

Course hangs(const How& how, const char* reason = "Resource temporarily unavailable") {
    return [how, reason](Trial& trial) {
        trial.starts();
        trial.pauses(Milliseconds(4000));
        how(trial.bridge());
        trial.asks(3);
        trial.changes_a_bulb();
        trial.awaits_log(std::string(reason) + " (light id = ", std::chrono::seconds(60));
    };
}

void stall(Bridge& bridge) {
    bridge.stalls();
}
void stall_in_header(Bridge& bridge) {
    bridge.stalls_in_header();
}
void stall_in_body(Bridge& bridge) {
    bridge.stalls_in_body();
}
// The answer on a light has some 350 bytes: that would take a minute.
void trickle(Bridge& bridge) {
    bridge.sends_slowly(Milliseconds(170));
}

void is_slow(Trial& trial) {
    trial.starts();
    trial.bridge().sends_slowly();
    trial.changes_a_bulb();
    trial.asks(3);
    trial.awaits_settled();
}

// The commands and, once the quiet time behind them is over, a poll.
Course answers_badly(const How& how, const char* line,
                     const char* line_of_poll = "(bridge disconnected)") {
    return [how, line, line_of_poll](Trial& trial) {
        trial.starts();
        trial.pauses(Milliseconds(4000));
        how(trial.bridge());
        fails(trial, line, 5);
        trial.awaits_log(line_of_poll);
    };
}

constexpr const char* kNoJson = "strToJsonValue() (light id = ";
constexpr const char* kNotConfirmed = "the bridge did not confirm the command (light id = ";

void loses_a_light(Trial& trial) {
    trial.starts();
    trial.pauses(Milliseconds(4000));
    trial.bridge().loses_light(4);
    fails(trial, kNotConfirmed, 10);
    trial.awaits_log("(light id = 4)");
    const auto polled = [&] { return trial.log().count("light status from bridge received"); };
    const std::size_t before = polled();
    trial.awaits("a poll without the light", [&] { return polled() > before; });
}

// A command for the light that is not there has its line, those for the others are carried out.
void has_a_light_too_few(Trial& trial) {
    trial.bridge().loses_light(3);
    trial.starts();
    trial.awaits_log("Error in Hue getLight(): light id is not valid (light id = 3)");
    trial.requires_that(trial.core().runs(132, "50") == 0, "a command is not answered");
    trial.awaits_log(
        "Request manager thread error: Error in Hue peekLight(): light id is not valid "
        "(light id = 3)");
    trial.asks(5);
    trial.awaits_settled();
}

void gets_a_light(Trial& trial) {
    has_a_light_too_few(trial);
    trial.pauses(Milliseconds(30000));
    trial.bridge().recovers();
    awaits_second_read(trial);
    trial.requires_that(trial.core().runs(132, "50") == 0, "a command is not answered");
    trial.awaits("a command for the new light",
                 [&] { return trial.house().light(3).brightness() == 127; });
}

}  // namespace

std::vector<FaultRow> bridge_rows() {
    return {
        {"BridgeRefuses", "bridge refuses every connection", refuses},
        {"BridgeReboots", "bridge reboots: resets, then refuses, then is back", reboots},
        {"BridgeIsDownAtTheStart", "bridge is down while the daemon starts", is_down_at_the_start,
         Length::quarter_of_an_hour},
        {"BridgeHangs", "bridge takes a request, and hangs for a moment",
         hangs_for_a_moment(stall)},
        {"BridgeHangsInTheHeader", "bridge hangs for a moment in the middle of a header",
         hangs_for_a_moment(stall_in_header)},
        {"BridgeHangsInTheBody", "bridge hangs for a moment in the middle of a body",
         hangs_for_a_moment(stall_in_body)},
        {"BridgeHangsInConnectForLong", "bridge hangs in the connect",
         hangs(&Bridge::hangs, "Operation now in progress"), Length::minutes},
        {"BridgeHangsForLong", "bridge takes requests and never answers", hangs(stall),
         Length::minutes},
        {"BridgeHangsInTheHeaderForLong", "bridge hangs in the middle of every header",
         hangs(stall_in_header), Length::minutes},
        {"BridgeHangsInTheBodyForLong", "bridge hangs in the middle of every body",
         hangs(stall_in_body), Length::minutes},
        {"BridgeTrickles", "bridge sends a byte every 170 ms", hangs(trickle), Length::minutes},
        {"BridgeIsSlow", "bridge sends a byte a millisecond", is_slow},
        {"BridgeSendsPages", "bridge answers with a 503 page",
         answers_badly([](Bridge& bridge) { bridge.sends_html(); }, kNoJson)},
        {"BridgeSendsGarbage", "bridge answers with bytes that are no HTTP",
         answers_badly([](Bridge& bridge) { bridge.sends_garbage(); },
                       "Failed to find body in response (light id = ")},
        {"BridgeSendsHalf", "bridge closes in the middle of every answer",
         answers_badly([](Bridge& bridge) { bridge.sends_half(); }, kNoJson)},
        {"BridgeForgetsItsUser", "the user name is deleted at the bridge",
         answers_badly(&Bridge::forgets_users,
                       "the bridge refused the request: unauthorized user (light id = ",
                       "Answer in Hue::refreshLights of ")},
        {"BridgeLosesALight", "a light is removed from the bridge, and added again", loses_a_light},
        {"BridgeHasALightTooFew", "a light is missing at the start", has_a_light_too_few},
        {"BridgeGetsALight", "a light is missing at the start, and added later", gets_a_light,
         Length::quarter_of_an_hour},
    };
}
