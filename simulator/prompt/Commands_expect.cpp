// Expectations, and the measurements of a long run.
#include <cstdio>

#include "simulator/JsonText.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

using Outcome = Ledger::Outcome;

constexpr double kSeconds = 25;          // longer than a poll and the pause after a command
constexpr double kSettleSeconds = 0.03;  // prints the expected events first
constexpr const char* kVersionWord = "@VERSION@";

// Waits until `current` returns `wanted`.
void await(const Call& call, const std::string& wanted,
           const std::function<std::string()>& current) {
    if (!call.session.wait_until([&] { return current() == wanted; },
                                 call.seconds("SECONDS", kSeconds))) {
        throw CommandError("expected " + wanted + ", but it is " + current());
    }
    call.session.pause(kSettleSeconds);
}

void require_soon(const Call& call, const std::function<bool()>& predicate,
                  const std::string& what) {
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

void expect_object(const Call& call) {
    await(call, call.text("VALUE"),
          [&] { return call.ledger().value(call.number("OBJECT")).value_or("not reported"); });
}

std::size_t lines_with(const Call& call, const std::string& text) {
    return call.house().journal().count(EventKind::log, text, call.session.heading);
}

void expect_log(const Call& call) {
    if (call.house().log() != nullptr) {
        require_soon(
            call, [&] { return lines_with(call, call.text("TEXT")) > 0; },
            "not logged: " + call.text("TEXT"));
    }
}

void expect_no_log(const Call& call) {
    call.house().log()->sync();
    require(lines_with(call, call.text("TEXT")) == 0, "logged: " + call.text("TEXT"));
}

void expect_only(const Call& call) {
    std::string wanted = call.text("TEXT") + "\n";
    const std::size_t at = wanted.find(kVersionWord);
    if (at != std::string::npos) {
        wanted.replace(at, std::string(kVersionWord).size(), LUMIVAD_VERSION);
    }
    require(call.session.printed == wanted, "printed: " + call.session.printed.value_or("nothing"));
}

// Of the daemon, or of the last run of another one.
void expect_end(const Call& call) {
    const bool is_signal = call.has("signal");
    const std::string wanted = (is_signal ? "signal " : "exit code ") + call.text("NUMBER");
    if (!call.house().has_daemon()) {
        require(call.session.ended == wanted, "it ended with " + call.session.ended);
        return;
    }
    const auto limit =
        std::chrono::milliseconds(static_cast<long>(call.seconds("SECONDS", kSeconds) * 1000));
    const auto ending = call.house().daemon().wait(limit);
    require(ending && ending->text() == wanted,
            "the daemon " + (ending ? "ended with " + ending->text() : std::string("did not end")));
    call.session.expects_end = true;
}

void expect_failed(const Call& call) {
    const auto count = static_cast<std::size_t>(call.number("COUNT"));
    const std::string text = call.text("TEXT");
    std::size_t failed = 0;
    bool has_text = false;
    require_soon(
        call,
        [&] {
            failed = 0;
            for (const Ledger::Command& command : call.ledger().last_commands(count)) {
                failed += command.outcome == Ledger::Outcome::failed ? 1 : 0;
                has_text = has_text || command.reason.find(text) != std::string::npos;
            }
            return failed == count && has_text;
        },
        "not all of these commands failed with such a line");
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
    for (const auto& commands : {house_commands(), fault_commands(), expect_commands()}) {
        for (const Command& command : commands) {
            require(
                call.session.used.count(command.form) != 0 || std::string(command.form) == "quit",
                std::string("not used: ") + command.form);
        }
    }
}

}  // namespace

std::vector<Command> expect_commands() {
    return {
        {"expect light LIGHT FIELD VALUE... [within SECONDS]",
         "waits for a state of a light: power on, bri 127, ct 326, hue 21845, name Hall",
         expect_light, check_light},
        {"expect object OBJECT VALUE [within SECONDS]",
         "waits until the last report of an object has this value", expect_object, check_object},
        {"expect no log TEXT...", "no log line since the last heading has this text",
         expect_no_log},
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
             require_soon(
                 call, [&] { return call.ledger().count(Outcome::waiting) == 0; },
                 "commands are still waiting");
         }},
        {"expect COUNT failed TEXT... [within SECONDS]",
         "the last commands all fail with a log line, one with this text", expect_failed},
        {"expect COUNT done [within SECONDS]",
         "waits until so many commands are carried out, from the start",
         [](const Call& call) {
             const auto count = static_cast<std::size_t>(call.number("COUNT"));
             require_soon(
                 call, [&] { return call.ledger().count(Outcome::done) >= count; },
                 "fewer commands are carried out");
         }},
        {"expect bridge to hang [within SECONDS]",
         "waits for a request after the bridge's last fault",
         [](const Call& call) {
             require_soon(
                 call,
                 [&] {
                     return call.bridge().gate().connections() > call.session.connections_before;
                 },
                 "no request reaches the bridge");
         }},
        {"expect poll [within SECONDS]", "waits for another poll",
         [](const Call& call) {
             const std::size_t before = call.ledger().counts().polls;
             require_soon(
                 call, [&] { return call.ledger().counts().polls > before; },
                 "the daemon does not poll");
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
