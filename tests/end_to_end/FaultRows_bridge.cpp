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
    trial.send_commands(commands);
    trial.wait_for_log(line);
    trial.wait_until_settled();
    trial.random_pause();
}

void refuses(Trial& trial) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.bridge().refuse_connections();
    trial.change_bulb();
    fails(trial, "Connection refused (light id = ", 5);
    trial.wait_for_log("Connection refused (bridge disconnected)");
    trial.wait_for_log("Skipping light state updates, unable to retrieve a refreshed state");
}

void reboots(Trial& trial) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.bridge().reset_connections();
    fails(trial, "Connection reset by peer (light id = ", 3);
    trial.bridge().refuse_connections();
    fails(trial, "Connection refused (light id = ", 3);
}

void wait_for_second_read(Trial& trial) {
    const auto start = Trial::Clock::now();
    trial.wait_until(
        "a second read of the lights",
        [&] { return trial.log().count("end of initial state updates") > 1; },
        std::chrono::minutes(20));
    trial.note("the lights are known " +
               text_of(std::chrono::duration_cast<Milliseconds>(Trial::Clock::now() - start)) +
               " after the bridge");
}

void is_down_at_the_start(Trial& trial) {
    trial.bridge().refuse_connections();
    trial.expect(trial.house().start().has_value(), "the daemon does not start");
    trial.wait_for_log("Connection refused (light id = 6)");
    fails(trial, "peekLight(): light id is not valid", 5);
    trial.random_pause(Milliseconds(30000));
    trial.bridge().recover();
    wait_for_second_read(trial);
}

// A bridge that hangs is given up by the daemon after a time that a test does not wait for: it
// comes back in the middle, and the time-out is what the longer rows are for.
Course hangs_for_a_moment(const How& how) {
    return [how](Trial& trial) {
        trial.start();
        trial.random_pause(Milliseconds(4000));
        how(trial.bridge());
        const int before = trial.bridge().gate().connections();
        trial.send_commands(3);
        trial.wait_until("a request that hangs",
                         [&] { return trial.bridge().gate().connections() > before; });
        trial.send_commands(2);
    };
}

Course hangs(const How& how, const char* reason = "Resource temporarily unavailable") {
    return [how, reason](Trial& trial) {
        trial.start();
        trial.random_pause(Milliseconds(4000));
        how(trial.bridge());
        trial.send_commands(3);
        trial.change_bulb();
        trial.wait_for_log(std::string(reason) + " (light id = ", std::chrono::seconds(60));
    };
}

void stall(Bridge& bridge) {
    bridge.stall();
}
void stall_in_header(Bridge& bridge) {
    bridge.stall_in_header();
}
void stall_in_body(Bridge& bridge) {
    bridge.stall_in_body();
}
// The answer on a light has some 350 bytes: that would take a minute.
void trickle(Bridge& bridge) {
    bridge.send_slowly(Milliseconds(170));
}

void is_slow(Trial& trial) {
    trial.start();
    trial.bridge().send_slowly();
    trial.change_bulb();
    trial.send_commands(3);
    trial.wait_until_settled();
}

// The commands and, once the quiet time behind them is over, a poll.
Course answers_badly(const How& how, const char* line,
                     const char* line_of_poll = "(bridge disconnected)") {
    return [how, line, line_of_poll](Trial& trial) {
        trial.start();
        trial.random_pause(Milliseconds(4000));
        how(trial.bridge());
        fails(trial, line, 5);
        trial.wait_for_log(line_of_poll);
    };
}

constexpr const char* kNoJson = "strToJsonValue() (light id = ";
constexpr const char* kNotConfirmed = "the bridge did not confirm the command (light id = ";

void loses_a_light(Trial& trial) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.bridge().remove_light(4);
    fails(trial, kNotConfirmed, 10);
    trial.wait_for_log("(light id = 4)");
    const auto polled = [&] { return trial.log().count("light status from bridge received"); };
    const std::size_t before = polled();
    trial.wait_until("a poll without the light", [&] { return polled() > before; });
}

// A command for the light that is not there has its line, those for the others are carried out.
void has_a_light_too_few(Trial& trial) {
    trial.bridge().remove_light(3);
    trial.start();
    trial.wait_for_log("Error in Hue getLight(): light id is not valid (light id = 3)");
    trial.expect(trial.core().run_object(132, "50") == 0, "a command is not answered");
    trial.wait_for_log(
        "Request manager thread error: Error in Hue peekLight(): light id is not valid "
        "(light id = 3)");
    trial.send_commands(5);
    trial.wait_until_settled();
}

void gets_a_light(Trial& trial) {
    has_a_light_too_few(trial);
    trial.random_pause(Milliseconds(30000));
    trial.bridge().recover();
    wait_for_second_read(trial);
    trial.expect(trial.core().run_object(132, "50") == 0, "a command is not answered");
    trial.wait_until("a command for the new light",
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
         hangs(&Bridge::hang_connections, "Operation now in progress"), Length::minutes},
        {"BridgeHangsForLong", "bridge takes requests and never answers", hangs(stall),
         Length::minutes},
        {"BridgeHangsInTheHeaderForLong", "bridge hangs in the middle of every header",
         hangs(stall_in_header), Length::minutes},
        {"BridgeHangsInTheBodyForLong", "bridge hangs in the middle of every body",
         hangs(stall_in_body), Length::minutes},
        {"BridgeTrickles", "bridge sends a byte every 170 ms", hangs(trickle), Length::minutes},
        {"BridgeIsSlow", "bridge sends a byte a millisecond", is_slow},
        {"BridgeSendsPages", "bridge answers with a 503 page",
         answers_badly([](Bridge& bridge) { bridge.send_html(); }, kNoJson)},
        {"BridgeSendsGarbage", "bridge answers with bytes that are no HTTP",
         answers_badly([](Bridge& bridge) { bridge.send_garbage(); },
                       "Failed to find body in response (light id = ")},
        {"BridgeSendsHalf", "bridge closes in the middle of every answer",
         answers_badly([](Bridge& bridge) { bridge.send_half(); }, kNoJson)},
        {"BridgeForgetsItsUser", "the user name is deleted at the bridge",
         answers_badly(&Bridge::forget_users,
                       "the bridge refused the request: unauthorized user (light id = ",
                       "Answer in Hue::refreshLights of ")},
        {"BridgeLosesALight", "a light is removed from the bridge, and added again", loses_a_light},
        {"BridgeHasALightTooFew", "a light is missing at the start", has_a_light_too_few},
        {"BridgeGetsALight", "a light is missing at the start, and added later", gets_a_light,
         Length::quarter_of_an_hour},
    };
}
