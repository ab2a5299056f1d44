#include "simulator/Prompt.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "libcbase/utility.h"
#include "simulator/JsonText.h"

namespace simulator {
namespace {

using Words = std::vector<std::string>;

constexpr double kExpectSeconds = 10;
constexpr double kSettleSeconds = 0.03;  // lets the lines of what was expected come first
constexpr double kLongestWaitSeconds = 3600;

struct Trouble {
    const char* name;
    void (*cause)(Bridge&);
};

constexpr Trouble kTroubles[] = {
    {"cut", [](Bridge& bridge) { bridge.refuses(); }},
    {"restore", [](Bridge& bridge) { bridge.recovers(); }},
    {"reset", [](Bridge& bridge) { bridge.drops_connections(); }},
    {"stall", [](Bridge& bridge) { bridge.stalls(); }},
    {"garbage", [](Bridge& bridge) { bridge.sends_garbage(); }},
    {"html", [](Bridge& bridge) { bridge.sends_html(); }},
    {"half", [](Bridge& bridge) { bridge.sends_half(); }},
    {"slow", [](Bridge& bridge) { bridge.sends_slowly(); }},
};

bool to_number(const std::string& text, int& number) {
    std::int32_t parsed = 0;
    const bool is_number = parse_int32(text.c_str(), 10, &parsed) == PARSE_NUMBER_OK;
    number = parsed;
    return is_number;
}

bool to_seconds(const std::string& text, double& seconds) {
    char* end = nullptr;
    seconds = std::strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0' && seconds >= 0 && seconds <= kLongestWaitSeconds;
}

std::string joined(Words::const_iterator first, Words::const_iterator last) {
    std::string text;
    for (; first != last; ++first) {
        text += (text.empty() ? "" : " ") + *first;
    }
    return text;
}

// "on", "off", "bri 254", "hue 21845 sat 128", "xy 0.3 0.2", in any mixture; null when it is wrong.
Json::Value members_of(const Words& words, std::size_t at) {
    Json::Value members;
    for (; at < words.size(); ++at) {
        const std::string& name = words[at];
        int number = 0;
        double x = 0;
        double y = 0;
        if (name == "on" || name == "off") {
            members["on"] = name == "on";
        } else if (name == "xy" && at + 2 < words.size() && to_seconds(words[at + 1], x) &&
                   to_seconds(words[at + 2], y)) {
            members["xy"].append(x);
            members["xy"].append(y);
            at += 2;
        } else if (name != "xy" && at + 1 < words.size() && to_number(words[at + 1], number)) {
            members[name] = number;
            ++at;
        } else {
            return {};
        }
    }
    return members;
}

}  // namespace

struct Prompt::Command {
    const char* name;
    std::size_t least_words;  // the name included
    bool (Prompt::*run)(const Words&);
    const char* usage;
    const char* meaning;
};

const Prompt::Command Prompt::kCommands[] = {
    {"set", 3, &Prompt::set, "set OBJECT VALUE", "the core runs an object: 1, 50, #5580C0"},
    {"bulb", 3, &Prompt::bulb, "bulb ID on|off|bri N|ct N|hue N sat N|xy X Y",
     "somebody changes a light past the daemon"},
    {"list", 2, &Prompt::list, "list objects|lights", "what there is, and how it stands"},
    {"bridge", 2, &Prompt::bridge, "bridge cut|reset|stall|garbage|html|half|slow|restore",
     "the bridge fails in this way until it is restored"},
    {"core", 2, &Prompt::core, "core cut|silent|restore", "the core's socket fails in this way"},
    {"wait", 2, &Prompt::wait, "wait SECONDS", "lets time pass"},
    {"expect", 3, &Prompt::expect, "expect light ID FIELD VALUE [within S]",
     "waits for a light to be so: power on, bri 127, ct 326, hue 21845, name Hall"},
    {"", 0, nullptr, "expect object ID VALUE [within S]",
     "waits for the daemon to report this value last"},
    {"", 0, nullptr, "expect log TEXT [within S]", "waits for a log line since the last heading"},
    {"say", 2, &Prompt::say, "say TEXT", "a heading in the transcript"},
    {"help", 1, &Prompt::print_help, "help", "these lines"},
    {"quit", 1, &Prompt::quit, "quit", "stops the daemon and the house"},
};

Prompt::Prompt(House& house, Console& console, std::function<bool()> is_interrupted)
    : house_(house), console_(console), is_interrupted_(std::move(is_interrupted)) {}

std::string Prompt::help() {
    std::ostringstream text;
    for (const Command& command : kCommands) {
        text << "  " << command.usage << "\n      " << command.meaning << "\n";
    }
    return text.str();
}

bool Prompt::run(const std::string& line) {
    std::istringstream text(line);
    Words words;
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    if (words.empty() || words[0][0] == '#') {
        return true;
    }
    for (const Command& command : kCommands) {
        if (command.run != nullptr && words[0] == command.name) {
            return words.size() >= command.least_words
                       ? (this->*command.run)(words)
                       : fail(std::string("it is: ") + command.usage);
        }
    }
    return fail("no such command: " + words[0] + " (help shows them)");
}

bool Prompt::fail(const std::string& text) {
    console_.print("!! " + text);
    return false;
}

bool Prompt::wait_for(const std::function<bool()>& predicate, double seconds) {
    const auto limit = std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
    bool is_met = false;
    house_.wait_for([&] { return (is_met = predicate()) || is_interrupted_(); }, limit);
    return is_met;
}

bool Prompt::set(const Words& words) {
    int object = 0;
    if (!to_number(words[1], object)) {
        return fail("no object's number: " + words[1]);
    }
    const auto status = house_.core().runs(object, words[2]);
    if (!status || *status != 0) {
        return fail("the daemon did not take it: " +
                    (status ? "status " + std::to_string(*status) : std::string("no answer")));
    }
    return true;
}

bool Prompt::bulb(const Words& words) {
    int id = 0;
    const Json::Value members = members_of(words, 2);
    if (!to_number(words[1], id) || members.isNull()) {
        return fail("it is: bulb ID on|off|bri N|ct N|hue N sat N|xy X Y");
    }
    for (const Json::Value& element : house_.light(id).changes(members)) {
        if (element.isMember("error")) {
            return fail(element["error"]["description"].asString());
        }
    }
    return true;
}

bool Prompt::list(const Words& words) {
    if (words[1] == "objects") {
        list_objects();
    } else if (words[1] == "lights") {
        list_lights();
    } else {
        return fail("it is: list objects|lights");
    }
    return true;
}

void Prompt::list_objects() {
    for (const House::RoleObject& object : house_.objects()) {
        std::ostringstream line;
        line << "  object " << object.id << "  light " << object.light << "  " << object.role
             << "  \"" << object.name
             << "\"  reported: " << house_.core().value(object.id).value_or("nothing yet");
        console_.print(line.str());
    }
}

void Prompt::list_lights() {
    for (const int id : house_.bridge().light_ids()) {
        std::string line = "  light " + std::to_string(id) + "  " + house_.light(id).name() + ":";
        for (const char* field : {"power", "bri", "ct", "hue", "sat", "xy", "colormode"}) {
            const std::string text = light_text(id, field);
            line += text.empty() ? "" : std::string(" ") + field + " " + text;
        }
        console_.print(line);
    }
}

std::string Prompt::light_text(int id, const std::string& field) {
    if (field == "name") {
        return house_.light(id).name();
    }
    const Json::Value value = house_.light(id).state(field == "power" ? "on" : field);
    if (value.isBool()) {
        return value.asBool() ? "on" : "off";
    }
    if (value.isArray() && value.size() == 2) {
        return compact_json(value[0]) + " " + compact_json(value[1]);
    }
    return value.isNull() ? "" : value.asString();
}

bool Prompt::bridge(const Words& words) {
    for (const Trouble& trouble : kTroubles) {
        if (words[1] == trouble.name) {
            trouble.cause(house_.bridge());
            house_.journal().add(EventKind::house, "bridge: " + words[1]);
            return true;
        }
    }
    return fail("no such trouble: " + words[1]);
}

bool Prompt::core(const Words& words) {
    if (words[1] == "cut") {
        house_.core().vanishes();
    } else if (words[1] == "silent") {
        house_.core().fails(Core::Fault::silent);
    } else if (words[1] == "restore") {
        house_.core().recovers();
    } else {
        return fail("it is: core cut|silent|restore");
    }
    house_.journal().add(EventKind::house, "core: " + words[1]);
    return true;
}

bool Prompt::wait(const Words& words) {
    double seconds = 0;
    if (!to_seconds(words[1], seconds)) {
        return fail("no number of seconds: " + words[1]);
    }
    wait_for([] { return false; }, seconds);
    return true;
}

bool Prompt::expect(const Words& words) {
    auto last = words.end();
    double seconds = kExpectSeconds;
    if (words.size() > 4 && *(words.end() - 2) == "within") {
        if (!to_seconds(words.back(), seconds)) {
            return fail("no number of seconds: " + words.back());
        }
        last -= 2;
    }
    const std::string what = joined(words.begin() + 1, last);
    const auto count = last - words.begin();
    const std::string part = joined(words.begin() + 2, last);
    int id = 0;
    std::function<std::string()> current;
    std::string wanted;
    if (words[1] == "log" && house_.log() == nullptr) {
        console_.print("           not checked, the machine keeps its log to itself: " + what);
        return true;
    }
    if (words[1] == "log") {
        wanted = "there";
        current = [&] {
            const bool is_there = house_.journal().count(EventKind::log, part, heading_) > 0;
            return std::string(is_there ? "there" : "not there");
        };
    } else if (words[1] == "light" && count > 4 && to_number(words[2], id)) {
        wanted = joined(words.begin() + 4, last);
        current = [&] { return light_text(id, words[3]); };
    } else if (words[1] == "object" && count > 3 && to_number(words[2], id)) {
        wanted = joined(words.begin() + 3, last);
        current = [&] { return house_.core().value(id).value_or("nothing"); };
    } else {
        return fail("it is: expect light ID FIELD VALUE, expect object ID VALUE, expect log TEXT");
    }
    if (!wait_for([&] { return current() == wanted; }, seconds)) {
        return fail("expected " + what + ", but it is " + current());
    }
    wait_for([] { return false; }, kSettleSeconds);
    console_.print("           as expected: " + what);
    return true;
}

bool Prompt::say(const Words& words) {
    heading_ = house_.journal().size();
    console_.print("\n== " + joined(words.begin() + 1, words.end()));
    return true;
}

bool Prompt::print_help(const Words&) {
    console_.print(help());
    return true;
}

bool Prompt::quit(const Words&) {
    is_over_ = true;
    return true;
}

}  // namespace simulator
