// Expectations, and the measurements of a long run.
#include <cstdio>

#include "simulator/JsonText.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

constexpr double kSeconds = 25;          // longer than a poll and the pause after a command
constexpr double kSettleSeconds = 0.03;  // prints the expected events first
constexpr const char* kVersionWord = "@VERSION@";

// Waits until `current` returns `wanted`.
void await(Session& session, const Slots& slots, const std::string& wanted,
           const std::function<std::string()>& current) {
    if (!session.wait_until([&] { return current() == wanted; },
                            slots.seconds("SECONDS", kSeconds))) {
        throw CommandError("expected " + wanted + ", but it is " + current());
    }
    session.pause(kSettleSeconds);
}

void require_soon(Session& session, const Slots& slots, const std::function<bool()>& predicate,
                  const std::string& what) {
    Session::require(session.wait_until(predicate, slots.seconds("SECONDS", kSeconds)), what);
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

void check_light(Session& session, const Slots& slots) {
    const std::string field = slots.text("FIELD");
    const std::string value = slots.text("VALUE");
    const std::string now = light_text(session.house(), slots.number("LIGHT"), field);
    Session::require(!now.empty(), "light " + slots.text("LIGHT") + " has no " + field);
    if (field == "power") {
        Session::require(value == "on" || value == "off", "power is on or off");
    } else if (field == "ct") {
        to_number(value, 153, 500);
    } else if (field == "bri" || field == "sat" || field == "hue") {
        to_number(value, 0, field == "hue" ? 65535 : 254);
    }
}

void expect_light(Session& session, const Slots& slots) {
    await(session, slots, slots.text("VALUE"),
          [&] { return light_text(session.house(), slots.number("LIGHT"), slots.text("FIELD")); });
}

// A value that the object's role can have.
void check_object(Session& session, const Slots& slots) {
    for (const RoleObject& object : session.house().objects()) {
        if (object.id != slots.number("OBJECT")) {
            continue;
        }
        const std::string value = slots.text("VALUE");
        if (object.role == "hsv") {
            Session::require(value.size() == 7 && number_of(value) >= 0, "a colour is #HHSSVV");
        } else {
            to_number(value, 0, object.role == "on_off" ? 1 : object.role.size() > 1 ? 100 : 255);
        }
    }
}

void expect_object(Session& session, const Slots& slots) {
    await(session, slots, slots.text("VALUE"), [&] {
        return session.house().ledger().value(slots.number("OBJECT")).value_or("not reported");
    });
}

std::size_t lines_with(Session& session, const std::string& text) {
    return session.house().journal().count(EventKind::log, text, session.heading);
}

void expect_log(Session& session, const Slots& slots) {
    if (session.house().log() != nullptr) {
        require_soon(
            session, slots, [&] { return lines_with(session, slots.text("TEXT")) > 0; },
            "not logged: " + slots.text("TEXT"));
    }
}

void expect_no_log(Session& session, const Slots& slots) {
    session.house().log()->sync();
    Session::require(lines_with(session, slots.text("TEXT")) == 0, "logged: " + slots.text("TEXT"));
}

void expect_printed(Session& session, const Slots& slots) {
    const std::string printed = session.printed.value_or("");
    Session::require(printed.find(slots.text("TEXT")) != std::string::npos,
                     "not printed: " + slots.text("TEXT"));
}

void expect_only(Session& session, const Slots& slots) {
    std::string wanted = slots.text("TEXT") + "\n";
    const std::size_t at = wanted.find(kVersionWord);
    if (at != std::string::npos) {
        wanted.replace(at, std::string(kVersionWord).size(), LUMIVAD_VERSION);
    }
    Session::require(session.printed == wanted, "printed: " + session.printed.value_or("nothing"));
}

// Of the daemon, or of the last run of another one.
void expect_end(Session& session, const Slots& slots) {
    const bool is_signal = slots.has("signal");
    const std::string wanted = (is_signal ? "signal " : "exit code ") + slots.text("NUMBER");
    if (!session.house().has_daemon()) {
        Session::require(session.ended == wanted, "it ended with " + session.ended);
        return;
    }
    const auto limit =
        std::chrono::milliseconds(static_cast<long>(slots.seconds("SECONDS", kSeconds) * 1000));
    const auto code = session.house().daemon().wait(limit);
    const std::string ending = code ? "ended with " + ending_text(*code) : "did not end";
    Session::require(ending == "ended with " + wanted, "the daemon " + ending);
    session.expects_end = true;
}

void expect_settled(Session& session, const Slots& slots) {
    require_soon(
        session, slots, [&] { return session.house().ledger().counts().waiting == 0; },
        "commands are still waiting");
}

void expect_failed(Session& session, const Slots& slots) {
    const auto count = static_cast<std::size_t>(slots.number("COUNT"));
    const std::string text = slots.text("TEXT");
    std::size_t failed = 0;
    bool has_text = false;
    require_soon(
        session, slots,
        [&] {
            failed = 0;
            for (const Ledger::Command& command : session.house().ledger().last_commands(count)) {
                failed += command.outcome == Ledger::Outcome::failed ? 1 : 0;
                has_text = has_text || command.reason.find(text) != std::string::npos;
            }
            return failed == count && has_text;
        },
        "not all of these commands failed with such a line");
}

void expect_done(Session& session, const Slots& slots) {
    const auto count = static_cast<std::size_t>(slots.number("COUNT"));
    require_soon(
        session, slots, [&] { return session.house().ledger().counts().done >= count; },
        "fewer commands are carried out");
}

void expect_hang(Session& session, const Slots& slots) {
    require_soon(
        session, slots,
        [&] { return session.house().bridge().gate().connections() > session.connections_before; },
        "no request reaches the bridge");
}

void expect_poll(Session& session, const Slots& slots) {
    const std::size_t before = session.house().ledger().counts().polls;
    require_soon(
        session, slots, [&] { return session.house().ledger().counts().polls > before; },
        "the daemon does not poll");
}

void expect_reports(Session& session, const Slots& slots) {
    const std::size_t reports = session.house().ledger().counts().reports - session.reports_before;
    Session::require(reports == static_cast<std::size_t>(slots.number("COUNT")),
                     std::to_string(reports) + " reports since the last heading");
}

void expect_connections(Session& session, const Slots& slots) {
    const bool is_bridge = slots.text("bridge|database") == "bridge";
    const int count = is_bridge ? session.house().bridge().gate().connections()
                                : session.house().database().connections();
    Session::require(count == slots.number("COUNT"), std::to_string(count) + " connections");
}

void expect_requests(Session& session, const Slots& slots) {
    const int count = session.house().bridge().count(slots.text("GET|PUT"), slots.text("PATH"));
    Session::require(count == slots.number("COUNT"), std::to_string(count) + " requests");
}

// A row of a long run's table. The house forgets its events, so that it does not grow.
void sample(Session& session, const Slots&) {
    const ProcessUse use = ProcessUse::at_rest(session.house().daemon().pid());
    const Ledger::Counts counts = session.house().ledger().counts();
    char row[240];
    std::snprintf(row, sizeof(row),
                  "%zu KiB, %zu descriptors, %zu threads, %.2f s CPU; %zu sent, %zu done, %zu "
                  "needless, %zu failed, %zu waiting, %zu reports",
                  use.resident_kib, use.descriptors, use.threads, use.cpu_seconds, counts.sent,
                  counts.done, counts.needless, counts.failed, counts.waiting, counts.reports);
    session.console().print(row);
    session.sampled = session.sampled ? session.sampled : use;
    session.house().forget();
    session.heading = 0;
}

// A sanitizer keeps freed memory.
void expect_growth(Session& session, const Slots& slots) {
    Session::require(session.sampled.has_value(), "needs a sample first");
    const ProcessUse now = ProcessUse::at_rest(session.house().daemon().pid());
    const std::size_t most =
        session.sampled->resident_kib + static_cast<std::size_t>(slots.number("COUNT"));
    session.console().print("resident memory: " + std::to_string(session.sampled->resident_kib) +
                            " -> " + std::to_string(now.resident_kib) + " KiB");
    Session::require(now.resident_kib <= most || !session.setup().sanitizer.empty(),
                     "the resident memory grew");
}

void expect_every_command(Session& session, const Slots&) {
    for (const auto& commands : {house_commands(), fault_commands(), expect_commands()}) {
        for (const Command& command : commands) {
            Session::require(
                session.used.count(command.form) != 0 || std::string(command.form) == "quit",
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
        {"expect printed TEXT...", "it printed this text", expect_printed},
        {"expect end exit NUMBER [within SECONDS]",
         "the daemon, or the last lumivad, ends with this exit code", expect_end},
        {"expect end signal NUMBER [within SECONDS]", "the daemon is ended by this signal",
         expect_end},
        {"expect settled [within SECONDS]", "waits until every acknowledged command has an outcome",
         expect_settled},
        {"expect COUNT failed TEXT... [within SECONDS]",
         "the last commands all fail with a log line, one with this text", expect_failed},
        {"expect COUNT done [within SECONDS]",
         "waits until so many commands are carried out, from the start", expect_done},
        {"expect bridge to hang [within SECONDS]",
         "waits for a request after the bridge's last fault", expect_hang},
        {"expect poll [within SECONDS]", "waits for another poll", expect_poll},
        {"expect COUNT reports", "since the last heading there were so many reports",
         expect_reports},
        {"expect COUNT connections to bridge|database", "there were so many connections",
         expect_connections},
        {"expect COUNT requests GET|PUT PATH", "the bridge got so many requests", expect_requests},
        {"sample", "prints the daemon's use of resources and the account", sample},
        {"expect growth below COUNT", "the daemon's memory grew by less KiB since the first sample",
         expect_growth},
        {"expect every command", "every form of the language was used", expect_every_command},
    };
}

}  // namespace simulator
