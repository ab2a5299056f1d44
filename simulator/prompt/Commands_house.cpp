// Commands that run the house: the daemon, its commands, the lights, the tool.
#include <random>
#include <sstream>

#include "simulator/JsonText.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

// The tool waits by then, and its time limit is far away.
constexpr int kSoonestMs = 2000;
constexpr int kLatestMs = 6000;
constexpr int kAnswerLimitMs = 1000;

void need(Session& session, const Slots& slots) {
    const std::string what = slots.text("shim|network|plain-build|64-bits");
    const bool has_sanitizer = !session.setup().sanitizer.empty();
    if (what == "shim") {
        session.load_shim();
    } else if (what == "plain-build" && has_sanitizer) {
        throw SkippedScript("a sanitizer has a heap and signal handling of its own");
    } else if (what == "64-bits" && sizeof(void*) < 8) {
        throw SkippedScript("needs 64 bits");
    } else if (what == "network" && !session.house().bridge().is_discoverable()) {
        throw SkippedScript("a search would leave this machine");
    }
}

// A member of a light's state with its value: "on", "off", "bri 254", "xy 0.3 0.2", ...
Json::Value members_of(const std::string& text) {
    const Words words = words_of(text);
    Json::Value members(Json::objectValue);
    const auto decimal = [&](std::size_t at) {
        return at < words.size() ? to_seconds(words[at]) : throw CommandError("xy needs X and Y");
    };
    for (std::size_t at = 0; at < words.size(); ++at) {
        const std::string& name = words[at];
        if (name == "on" || name == "off") {
            members["on"] = name == "on";
        } else if (name == "xy") {
            members["xy"].append(decimal(at + 1));
            members["xy"].append(decimal(at + 2));
            at += 2;
        } else {
            Session::require(at + 1 < words.size(), "no value for " + name);
            members[name] = to_number(words[++at], 0, 65535);
        }
    }
    return members;
}

void check_bulb(Session& session, const Slots& slots) {
    for (const std::string& name : members_of(slots.text("CHANGE")).getMemberNames()) {
        Session::require(!session.house().light(slots.number("LIGHT")).state(name).isNull(),
                         "light " + slots.text("LIGHT") + " has no " + name);
    }
}

void change_bulb(Session& session, const Slots& slots) {
    const Json::Value members = members_of(slots.text("CHANGE"));
    for (const auto& element : session.house().light(slots.number("LIGHT")).change(members)) {
        Session::require(!element.isMember("error"), element["error"]["description"].asString());
    }
}

void set(Session& session, const Slots& slots) {
    const auto status = session.house().command(slots.number("OBJECT"), slots.text("VALUE"));
    Session::require(status == 0, "the daemon refused the command: " +
                                      (status ? "status " + std::to_string(*status) : "no answer"));
}

void ask(Session& session, const Slots& slots) {
    for (int i = 0; i < slots.number("COUNT"); ++i) {
        const int took = session.ask();
        Session::require(took >= 0, "a command was not acknowledged");
        Session::require(took <= kAnswerLimitMs,
                         "a command was acknowledged after " + std::to_string(took) + " ms");
    }
}

void try_to_ask(Session& session, const Slots& slots) {
    for (int i = 0; i < slots.number("COUNT"); ++i) {
        session.ask();
    }
}

void moment(Session& session, const Slots& slots) {
    if (session.setup().seed != 0) {
        // Not std::uniform_real_distribution, whose numbers differ from library to library.
        session.pause(slots.seconds("SECONDS") * static_cast<int>(session.random()() % 1000) /
                      1000);
    }
}

void run_lumivad(Session& session, const Slots& slots) {
    const ChildProcess::Result result =
        ChildProcess::run(session.options().daemon, words_of(slots.text("WORDS")),
                          session.options().environment, House::kStartLimit);
    session.printed = result.output;
    session.ended = ending_text(result.code);
}

void start_badly(Session& session, const Slots&) {
    Session::require(session.house().start() == -1, "the daemon did not report a failure");
    Session::require(session.house().daemon().wait(House::kStartLimit) == 1, "no exit code 1");
    session.expects_end = true;
}

void stop(Session& session, const Slots&) {
    Session::require(session.house().stop() == 0, "the daemon did not exit with 0");
    session.expects_end = true;
}

void run_shell(Session& session, const Slots& slots) {
    const ChildProcess::Result result = session.run_shell(slots.text("WORDS"));
    session.printed = result.output + result.errors;
    Session::require(result.code == 0, *session.printed + ending_text(result.code));
}

// The line with the parameters begins with the address.
void run_huectl(Session& session, const Slots& slots) {
    session.console().print("           $ huectl " + slots.text("WORDS"));
    const ChildProcess::Result result = session.house().run_huectl(
        words_of(slots.text("WORDS")), [&session] { return session.is_interrupted(); });
    session.printed = result.output;
    std::istringstream output(result.output);
    for (std::string line; std::getline(output, line);) {
        session.parameters = line.rfind("ip_address='", 0) == 0 ? line : session.parameters;
    }
    Session::require(result.code == 0, "huectl ended with " + ending_text(result.code));
}

void press_button(Session& session, const Slots&) {
    const int range = kLatestMs - kSoonestMs;
    session.house().bridge().press_link_button(std::chrono::milliseconds(
        kSoonestMs + static_cast<int>(std::random_device()() % static_cast<unsigned>(range))));
}

std::string state_text(House& house, int light, const std::string& member) {
    const Json::Value value = house.light(light).state(member);
    return value.isNull() ? "" : " " + member + " " + compact_json(value);
}

void list_lights(Session& session, const Slots&) {
    for (const int id : session.house().bridge().light_ids()) {
        std::string line =
            "  light " + std::to_string(id) + "  " + session.house().light(id).name() + ":";
        for (const char* member : {"on", "bri", "ct", "hue", "sat", "xy", "colormode"}) {
            line += state_text(session.house(), id, member);
        }
        session.console().print(line);
    }
}

void list_objects(Session& session, const Slots&) {
    for (const RoleObject& object : session.house().objects()) {
        session.console().print(
            "  object " + std::to_string(object.id) + "  light " + std::to_string(object.light) +
            "  " + object.role + "  \"" + object.name +
            "\"  reported: " + session.house().ledger().value(object.id).value_or("none"));
    }
}

void say(Session& session, const Slots& slots) {
    session.heading = session.house().journal().size();
    session.reports_before = session.house().ledger().counts().reports;
    session.console().print("\n== " + slots.text("TEXT"));
}

}  // namespace

std::vector<Command> house_commands() {
    return {
        {"needs shim|network|plain-build|64-bits", "skips the script where this is missing", need,
         nullptr, true},
        {"house unpaired", "the bridge has no user, and the database no parameters of it",
         [](Session& session, const Slots&) { session.options().is_paired = false; }, nullptr,
         true},
        {"house COUNT lights",
         "so many lights of every class in turn, with an object for each role",
         [](Session& session, const Slots& slots) {
             session.options().installation = Installation::of_lights(slots.number("COUNT"));
         },
         nullptr, true},
        {"without PART", "the judgement leaves this part out",
         [](Session& session, const Slots& slots) { session.without.insert(slots.text("PART")); },
         nullptr, true},
        {"say TEXT...", "prints a heading", say},
        {"start", "starts the daemon and waits until it has polled the bridge",
         [](Session& session, const Slots&) { session.start(); }},
        {"start with WORDS...", "the same with further arguments",
         [](Session& session, const Slots& slots) {
             session.start(words_of(slots.text("WORDS")));
         }},
        {"start blind", "starts the daemon and does not wait for a poll",
         [](Session& session, const Slots&) { session.start({}, false); }},
        {"start badly", "the daemon must report a failure and exit with 1", start_badly},
        {"stop", "sends SIGTERM; the daemon must exit with 0", stop},
        {"lumivad", "runs another daemon without arguments to its end", run_lumivad},
        {"lumivad WORDS...", "runs another daemon with these arguments to its end", run_lumivad},
        {"set OBJECT VALUE", "sends a command of the core: 1, 50, #5580C0", set},
        {"ask COUNT",
         "sends commands, brightnesses and colours in turn; each is acknowledged within a second",
         ask},
        {"try COUNT", "sends such commands, which may stay without an answer", try_to_ask},
        {"bulb LIGHT CHANGE...",
         "changes a light past the daemon: on, off, bri N, ct N, hue N sat N, xy X Y", change_bulb,
         check_bulb},
        {"huectl WORDS...", "runs huectl: discover, pair 127.0.0.80, ...", run_huectl},
        {"button soon", "presses the bridge's link button after 2 to 6 seconds", press_button},
        {"button now", "presses it now",
         [](Session& session, const Slots&) { session.house().bridge().press_link_button(); }},
        {"store", "stores the parameters that huectl printed last in the database",
         [](Session& session, const Slots&) {
             Session::require(!session.parameters.empty(),
                              "huectl has not printed a bridge's parameters yet");
             session.house().store_parameters(session.parameters);
         }},
        {"sql WORDS...", "runs an SQL statement in the database",
         [](Session& session, const Slots& slots) {
             session.house().database().rows(slots.text("WORDS"));
         }},
        {"shell WORDS...",
         "runs a shell command, which must succeed; DAEMON and PORT are the daemon's", run_shell},
        {"wait SECONDS", "waits",
         [](Session& session, const Slots& slots) { session.pause(slots.seconds("SECONDS")); }},
        {"moment SECONDS", "waits for a random part of that time; not at all without a seed",
         moment},
        {"list lights", "prints the lights with their states", list_lights},
        {"list objects", "prints the objects with their last reports", list_objects},
        {"quit", "ends the house", [](Session& session, const Slots&) { session.is_over = true; }},
    };
}

}  // namespace simulator
