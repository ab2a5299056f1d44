// Expectations, and the measurements of a long run.
#include <algorithm>
#include <cstdio>

#include "simulator/JsonText.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

using Outcome = Ledger::Outcome;

constexpr double kSeconds = 25;          // longer than a poll and the pause after a command
constexpr double kSettleSeconds = 0.03;  // prints the expected events first
constexpr const char* kVersion = "v@VERSION@";

// Waits until `current` returns `wanted`.
void await(const Call& call, const std::string& wanted,
           const std::function<std::string()>& current) {
    if (!call.session.wait_until([&] { return current() == wanted; },
                                 call.seconds("SECONDS", kSeconds))) {
        throw CommandError("expected " + wanted + ", but it is " + current());
    }
    call.session.pause(kSettleSeconds);
}

void require_soon(const Call& call, const std::string& what,
                  const std::function<bool()>& predicate) {
    require(call.session.wait_until(predicate, call.seconds("SECONDS", kSeconds)), what);
}

void require_count(const Call& call, int count, const std::string& what) {
    require(count == call.number("COUNT"), std::to_string(count) + " " + what);
}

std::string light_text(House& house, int light, const std::string& field) {
    if (field == "name") {
        return house.light(light).name();
    }
    const Json::Value value = house.light(light).state(field == "power" ? "on" : field);
    if (value.isArray() && value.size() == 2) {
        return compact_json(value[0]) + " " + compact_json(value[1]);
    }
    return value.isNull()   ? ""
           : value.isBool() ? (value.asBool() ? "on" : "off")
                            : value.asString();
}

void check_light(const Call& call) {
    const std::string value = call.text("VALUE");
    const bool is_power = call.text("FIELD") == "power";
    require(!is_power || value == "on" || value == "off", "power is on or off");
    check_field(call, is_power ? "on" : call.text("FIELD"), value);
}

void expect_light(const Call& call) {
    await(call, call.text("VALUE"),
          [&] { return light_text(call.house(), call.number("LIGHT"), call.text("FIELD")); });
}

// A value that the object's role can have.
void check_object(const Call& call) {
    const std::string role = call.session.object(call.number("OBJECT")).role;
    const std::string value = call.text("VALUE");
    if (role == "hsv") {
        require(value[0] == '#' && number_of(value) >= 0, "a colour is #HHSSVV");
    } else {
        to_number(value, 0, Conversions::role(role).largest);
    }
}

std::size_t lines_with(const Call& call, const std::string& text) {
    return call.house().journal().count(EventKind::log, text, call.session.heading);
}

void expect_log(const Call& call) {
    if (call.house().log() != nullptr) {
        require_soon(call, "not logged: " + call.text("TEXT"),
                     [&] { return lines_with(call, call.text("TEXT")) > 0; });
    }
}

void expect_only(const Call& call) {
    const bool is_version = call.text("TEXT") == kVersion;
    const std::string wanted = (is_version ? "v" LUMIVAD_VERSION : call.text("TEXT")) + "\n";
    require(call.session.printed == wanted, "printed: " + call.session.printed.value_or("nothing"));
}

// Of the daemon, or of the last run of another one.
void expect_end(const Call& call) {
    const std::string wanted =
        (call.has("signal") ? "signal " : "exit code ") + call.text("NUMBER");
    std::string ended = call.session.ended;
    if (call.house().has_daemon()) {
        const auto ending = call.house().daemon().wait(
            std::chrono::milliseconds(static_cast<long>(call.seconds("SECONDS", kSeconds) * 1000)));
        ended = ending ? ending_text(*ending) : "nothing yet";
        call.session.expects_end = true;
    }
    require(ended == wanted, "it ended with " + ended);
}

void expect_failed(const Call& call) {
    const auto count = static_cast<std::size_t>(call.number("COUNT"));
    require_soon(call, "not all of these commands failed with such a line", [&] {
        const auto commands = call.ledger().last_commands(count);
        return commands.size() == count &&
               std::all_of(
                   commands.begin(), commands.end(),
                   [](const auto& command) { return command.outcome == Outcome::failed; }) &&
               std::any_of(commands.begin(), commands.end(), [&](const auto& command) {
                   return command.reason.find(call.text("TEXT")) != std::string::npos;
               });
    });
}

// A row of a long run's table. The house forgets its events, so that it does not grow.
void sample(const Call& call) {
    const ProcessUse use = ProcessUse::at_rest(call.house().daemon().pid());
    char row[120];
    std::snprintf(row, sizeof(row), "%zu KiB, %zu descriptors, %zu threads, %.2f s CPU; ",
                  use.resident_kib, use.descriptors, use.threads, use.cpu_seconds);
    call.print(row + call.ledger().account() + "; " +
               std::to_string(call.ledger().counts().reports) + " reports");
    call.session.sampled = call.session.sampled ? call.session.sampled : use;
    call.house().forget();
    call.session.heading = 0;
}

// A sanitizer keeps freed memory.
void expect_growth(const Call& call) {
    require(call.session.sampled.has_value(), "needs a sample first");
    const ProcessUse now = ProcessUse::at_rest(call.house().daemon().pid());
    const std::size_t most =
        call.session.sampled->resident_kib + static_cast<std::size_t>(call.number("COUNT"));
    call.print("resident memory: " + std::to_string(call.session.sampled->resident_kib) + " -> " +
               std::to_string(now.resident_kib) + " KiB");
    require(now.resident_kib <= most || !call.session.setup().sanitizer.empty(),
            "the resident memory grew");
}

void expect_every_command(const Call& call) {
    for (const Command& command : all_commands()) {
        require(call.session.used.count(command.form) != 0 || command.form == std::string("quit"),
                std::string("not used: ") + command.form);
    }
}

}  // namespace

std::vector<Command> expect_commands() {
    return {
        {"expect light LIGHT FIELD VALUE... [within SECONDS]",
         "waits for a state of a light: power on, bri 127, ct 326, hue 21845, name Hall",
         expect_light, check_light},
        {"expect object OBJECT VALUE [within SECONDS]",
         "waits until the last report of an object has this value",
         [](const Call& call) {
             await(call, call.text("VALUE"), [&] {
                 return call.ledger().value(call.number("OBJECT")).value_or("not reported");
             });
         },
         check_object},
        {"expect no log TEXT...", "no log line since the last heading has this text",
         [](const Call& call) {
             call.house().log()->sync();
             require(lines_with(call, call.text("TEXT")) == 0, "logged: " + call.text("TEXT"));
         }},
        {"expect log TEXT... [within SECONDS]", "waits for a log line since the last heading",
         expect_log},
        {"expect printed only TEXT...",
         "the last huectl, lumivad or shell printed this line and nothing else", expect_only},
        {"expect printed TEXT...", "it printed this text",
         [](const Call& call) {
             require(call.session.printed.value_or("").find(call.text("TEXT")) != std::string::npos,
                     "not printed: " + call.text("TEXT"));
         }},
        {"expect end exit NUMBER [within SECONDS]",
         "the daemon, or the last lumivad, ends with this exit code", expect_end},
        {"expect end signal NUMBER [within SECONDS]", "the daemon is ended by this signal",
         expect_end},
        {"expect settled [within SECONDS]", "waits until every acknowledged command has an outcome",
         [](const Call& call) {
             require_soon(call, "commands are still waiting",
                          [&] { return call.ledger().count(Outcome::waiting) == 0; });
         }},
        {"expect COUNT failed TEXT... [within SECONDS]",
         "the last commands all fail with a log line, one with this text", expect_failed},
        {"expect COUNT done [within SECONDS]",
         "waits until so many commands are carried out, from the start",
         [](const Call& call) {
             const auto count = static_cast<std::size_t>(call.number("COUNT"));
             require_soon(call, "fewer commands are carried out",
                          [&] { return call.ledger().count(Outcome::done) >= count; });
         }},
        {"expect bridge to hang [within SECONDS]",
         "waits for a request after the bridge's last fault",
         [](const Call& call) {
             require_soon(call, "no request reaches the bridge", [&] {
                 return call.bridge().gate().connections() > call.session.connections_before;
             });
         }},
        {"expect poll [within SECONDS]", "waits for another poll",
         [](const Call& call) {
             const std::size_t before = call.ledger().counts().polls;
             require_soon(call, "the daemon does not poll",
                          [&] { return call.ledger().counts().polls > before; });
         }},
        {"expect COUNT reports", "since the last heading there were so many reports",
         [](const Call& call) {
             require_count(
                 call,
                 static_cast<int>(call.ledger().counts().reports - call.session.reports_before),
                 "reports");
         }},
        {"expect COUNT connections to bridge|database", "there were so many connections",
         [](const Call& call) {
             require_count(call,
                           call.text("bridge|database") == "bridge"
                               ? call.bridge().gate().connections()
                               : call.house().database().connections(),
                           "connections");
         }},
        {"expect COUNT requests GET|PUT PATH", "the bridge got so many requests",
         [](const Call& call) {
             require_count(call, call.bridge().count(call.text("GET|PUT"), call.text("PATH")),
                           "requests");
         }},
        {"sample", "prints the daemon's use of resources and the account", sample},
        {"expect growth below COUNT", "the daemon's memory grew by less KiB since the first sample",
         expect_growth},
        {"expect every command", "every form of the language was used", expect_every_command},
    };
}

}  // namespace simulator
