// Commands that run the house: the daemon, its commands, the lights, the tool.
#include <algorithm>
#include <random>
#include <sstream>

#include "simulator/JsonText.h"
#include "simulator/prompt/Prompt.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

// The tool waits by then, and its time limit is far away.
constexpr int kSoonestMs = 2000;
constexpr int kLatestMs = 6000;
constexpr int kAnswerLimitMs = 1000;
constexpr std::chrono::minutes kShellLimit{10};

void need(const Call& call) {
    const std::string what = call.text("shim|network|plain-build|64-bits");
    const bool has_sanitizer = !call.session.setup().sanitizer.empty();
    if (what == "shim") {
        call.session.load_shim();
    } else if (what == "plain-build" && has_sanitizer) {
        throw SkippedScript("a sanitizer has a heap and signal handling of its own");
    } else if (what == "64-bits" && sizeof(void*) < 8) {
        throw SkippedScript("needs 64 bits");
    } else if (what == "network" && !MulticastResponder::is_possible()) {
        throw SkippedScript("a search would leave this machine");
    }
}

constexpr struct {
    const char* field;
    int smallest;
    int largest;
} kRanges[] = {{"bri", 0, 254}, {"sat", 0, 254}, {"hue", 0, 65535}, {"ct", 153, 500}};

// Members of a light's state with their values: "on", "off", "bri 254", "xy 0.3 0.2", ...
Json::Value members_of(const std::string& text) {
    Json::Value members(Json::objectValue);
    std::istringstream words(text);
    std::string word;
    for (std::string name; words >> name;) {
        if (name == "on" || name == "off") {
            members["on"] = name == "on";
        } else if (name == "xy") {
            for (int i = 0; i < 2; ++i) {
                require(words >> word && to_seconds(word) <= 1, "xy needs X and Y, 0..1");
                members[name].append(to_seconds(word));
            }
        } else {
            const auto range = std::find_if(std::begin(kRanges), std::end(kRanges),
                                            [&](const auto& row) { return name == row.field; });
            require(range != std::end(kRanges), "cannot be changed: " + name);
            require(bool(words >> word), "no value for " + name);
            members[name] = to_number(word, range->smallest, range->largest);
        }
    }
    return members;
}

void check_bulb(const Call& call) {
    for (const std::string& name : members_of(call.text("CHANGE")).getMemberNames()) {
        require(!call.light().state(name).isNull(),
                "light " + call.text("LIGHT") + " has no " + name);
    }
}

void change_bulb(const Call& call) {
    const Json::Value members = members_of(call.text("CHANGE"));
    for (const auto& element : call.light().change(members)) {
        require(!element.isMember("error"), element["error"]["description"].asString());
    }
}

void set(const Call& call) {
    const auto status = call.house().command(call.number("OBJECT"), call.text("VALUE"));
    require(status == 0, "the daemon refused the command: " +
                             (status ? "status " + std::to_string(*status) : "no answer"));
}

void ask(const Call& call) {
    for (int i = 0; i < call.number("COUNT"); ++i) {
        const int took = call.session.ask();
        require(took >= 0, "a command was not acknowledged");
        require(took <= kAnswerLimitMs,
                "a command was acknowledged after " + std::to_string(took) + " ms");
    }
}

void moment(const Call& call) {
    if (call.session.setup().seed != 0) {
        // Not std::uniform_real_distribution, whose numbers differ from library to library.
        call.session.pause(call.seconds("SECONDS") *
                           static_cast<int>(call.session.random()() % 1000) / 1000);
    }
}

void run_lumivad(const Call& call) {
    const ChildProcess::Result result =
        ChildProcess::run(call.session.options().daemon, words_of(call.text("WORDS")),
                          call.session.options().environment, House::kStartLimit);
    call.session.printed = result.output;
    call.session.ended = ending_text(result.code);
}

void start_badly(const Call& call) {
    require(call.house().start() == -1, "the daemon did not report a failure");
    require(call.house().daemon().wait(House::kStartLimit) == 1, "no exit code 1");
    call.session.expects_end = true;
}

void stop(const Call& call) {
    require(call.house().stop() == 0, "the daemon did not exit with 0");
    call.session.expects_end = true;
}

void run_shell(const Call& call) {
    ChildProcess::Words environment = call.session.options().environment;
    environment.push_back("LUMIVAD=" + call.session.options().daemon);
    if (call.house().has_daemon()) {
        environment.push_back("DAEMON=" + std::to_string(call.house().daemon().pid()));
        environment.push_back("PORT=" + std::to_string(call.house().port()));
    }
    const ChildProcess::Result result =
        ChildProcess::run("/bin/bash", {"-c", call.text("WORDS")}, environment, kShellLimit);
    call.session.printed = result.output + result.errors;
    require(result.code == 0, *call.session.printed + ending_text(result.code));
}

// The line with the parameters begins with the address.
void run_huectl(const Call& call) {
    call.print("           $ huectl " + call.text("WORDS"));
    const ChildProcess::Result result = call.house().run_huectl(
        words_of(call.text("WORDS")), [&call] { return call.session.is_interrupted(); });
    call.session.printed = result.output;
    std::istringstream output(result.output);
    for (std::string line; std::getline(output, line);) {
        call.session.parameters =
            line.rfind("ip_address='", 0) == 0 ? line : call.session.parameters;
    }
    require(result.code == 0, "huectl ended with " + ending_text(result.code));
}

void list_lights(const Call& call) {
    for (const int id : call.bridge().light_ids()) {
        std::string line =
            "  light " + std::to_string(id) + "  " + call.house().light(id).name() + ":";
        for (const char* member : {"on", "bri", "ct", "hue", "sat", "xy", "colormode"}) {
            const Json::Value value = call.house().light(id).state(member);
            line += value.isNull() ? "" : std::string(" ") + member + " " + compact_json(value);
        }
        call.print(line);
    }
}

void list_objects(const Call& call) {
    for (const RoleObject& object : call.house().objects()) {
        call.print("  object " + std::to_string(object.id) + "  light " +
                   std::to_string(object.light) + "  " + object.role + "  \"" + object.name +
                   "\"  reported: " + call.ledger().value(object.id).value_or("none"));
    }
}

}  // namespace

void check_field(const Call& call, const std::string& field, const std::string& value) {
    const Bulb light = call.light();
    require(field == "name" || !light.state(field).isNull(),
            "light " + call.text("LIGHT") + " has no " + field);
    for (const auto& range : kRanges) {
        if (field == range.field) {
            to_number(value, range.smallest, range.largest);
        }
    }
}

std::vector<Command> house_commands() {
    return {
        {"needs shim|network|plain-build|64-bits", "skips the script where this is missing", need,
         nullptr, true},
        {"house unpaired", "the bridge has no user, and the database no parameters of it",
         [](const Call& call) { call.session.options().is_paired = false; }, nullptr, true},
        {"house COUNT lights",
         "so many lights of every class in turn, with an object for each role",
         [](const Call& call) {
             call.session.options().installation = Installation::of_lights(call.number("COUNT"));
         },
         nullptr, true},
        {"house of sample|newer lights", "another installation; newer: lights of unknown models",
         [](const Call& call) {
             call.session.options().installation = Installation::named(call.text("sample|newer"));
         },
         nullptr, true},
        {"without PART", "the judgement leaves this part out",
         [](const Call& call) { call.session.without.insert(call.text("PART")); }, nullptr, true},
        {"say TEXT...", "prints a heading",
         [](const Call& call) {
             call.session.heading = call.house().journal().size();
             call.session.reports_before = call.ledger().counts().reports;
             call.print("\n== " + call.text("TEXT"));
         }},
        {"start", "starts the daemon and waits until it has polled the bridge",
         [](const Call& call) { call.session.start(); }},
        {"start with WORDS...", "the same with further arguments",
         [](const Call& call) { call.session.start(words_of(call.text("WORDS"))); }},
        {"start blind [as ID]",
         "starts the daemon, for another object if there is a number, and does not wait for a poll",
         [](const Call& call) {
             call.session.start(call.has("ID") ? Words{"--id", call.text("ID")} : Words{}, false);
         }},
        {"start badly", "the daemon must report a failure and exit with 1", start_badly},
        {"stop", "sends SIGTERM; the daemon must exit with 0", stop},
        {"lumivad", "runs another daemon without arguments to its end", run_lumivad},
        {"lumivad WORDS...", "runs another daemon with these arguments to its end", run_lumivad},
        {"set OBJECT VALUE", "sends a command of the core: 1, 50, #5580C0", set},
        {"ask COUNT",
         "sends commands, brightnesses and colours in turn; each is acknowledged within a second",
         ask},
        {"try COUNT", "sends such commands, which may stay without an answer",
         [](const Call& call) {
             for (int i = 0; i < call.number("COUNT"); ++i) {
                 call.session.ask();
             }
         }},
        {"bulb LIGHT CHANGE...",
         "changes a light past the daemon: on, off, bri N, ct N, hue N sat N, xy X Y", change_bulb,
         check_bulb},
        {"huectl WORDS...", "runs huectl: discover, pair 127.0.0.80, ...", run_huectl},
        {"button soon", "presses the bridge's link button after 2 to 6 seconds",
         [](const Call& call) {
             call.bridge().press_link_button(std::chrono::milliseconds(
                 std::uniform_int_distribution(kSoonestMs, kLatestMs)(call.session.random())));
         }},
        {"button now", "presses it now",
         [](const Call& call) { call.bridge().press_link_button(); }},
        {"store", "stores the parameters that huectl printed last in the database",
         [](const Call& call) {
             require(!call.session.parameters.empty(),
                     "huectl has not printed a bridge's parameters yet");
             call.house().store_parameters(call.session.parameters);
         }},
        {"sql WORDS...", "runs an SQL statement in the database",
         [](const Call& call) { call.house().database().rows(call.text("WORDS")); }},
        {"shell WORDS...",
         "runs a shell command, which must succeed; DAEMON and PORT are the daemon's", run_shell},
        {"wait SECONDS", "waits",
         [](const Call& call) { call.session.pause(call.seconds("SECONDS")); }},
        {"moment SECONDS", "waits for a random part of that time; not at all without a seed",
         moment},
        {"list lights", "prints the lights with their states", list_lights},
        {"list objects", "prints the objects with their last reports", list_objects},
        {"help", "prints this list", [](const Call& call) { call.print(Prompt::help()); }},
        {"quit", "ends the house", [](const Call& call) { call.session.is_over = true; }},
    };
}

}  // namespace simulator
