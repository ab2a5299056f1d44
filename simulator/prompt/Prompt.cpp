#include "simulator/prompt/Prompt.h"

#include <fstream>
#include <sstream>

namespace simulator {
namespace {

struct BridgeFault {
    const char* name;
    void (*inject)(Bridge&);
};

constexpr BridgeFault kBridgeFaults[] = {
    {"cut", [](Bridge& bridge) { bridge.inject_fault("cut"); }},
    {"restore", [](Bridge& bridge) { bridge.recover(); }},
    {"reset", [](Bridge& bridge) { bridge.inject_fault("reset"); }},
    {"stall", [](Bridge& bridge) { bridge.inject_fault("stall"); }},
    {"garbage", [](Bridge& bridge) { bridge.inject_fault("garbage"); }},
    {"html", [](Bridge& bridge) { bridge.inject_fault("html"); }},
    {"half", [](Bridge& bridge) { bridge.inject_fault("half"); }},
    {"slow", [](Bridge& bridge) { bridge.inject_fault("slow"); }},
};

}  // namespace

struct Prompt::Command {
    const char* name;
    std::size_t least_words;  // the name included
    bool (Prompt::*run)(const Words&);
    const char* usage;
    const char* meaning;
};

const Prompt::Command Prompt::kCommands[] = {
    {"set", 3, &Prompt::set, "set OBJECT VALUE", "sends a command of the core: 1, 50, #5580C0"},
    {"bulb", 3, &Prompt::bulb, "bulb ID on|off|bri N|ct N|hue N sat N|xy X Y",
     "changes a light without the daemon"},
    {"list", 2, &Prompt::list, "list objects|lights",
     "prints the objects with their last reports, or the lights with their states"},
    {"bridge", 2, &Prompt::bridge, "bridge cut|reset|stall|garbage|html|half|slow|restore",
     "injects a fault of the bridge, or ends it"},
    {"core", 2, &Prompt::core, "core cut|silent|restore",
     "injects a fault of the core's socket, or ends it"},
    {"huectl", 2, &Prompt::huectl, "huectl WORD...", "runs huectl: discover, pair 127.0.0.80, ..."},
    {"button", 1, &Prompt::button, "button [soon|in SECONDS]",
     "presses the bridge's link button now, after 2 to 6 seconds, or after SECONDS"},
    {"store", 1, &Prompt::store, "store",
     "stores the parameters that huectl printed last in the database"},
    {"start", 1, &Prompt::start, "start", "starts the daemon"},
    {"wait", 2, &Prompt::wait, "wait SECONDS", "waits"},
    {"expect", 3, &Prompt::expect, "expect light ID FIELD VALUE [within S]",
     "waits for a state of a light: power on, bri 127, ct 326, hue 21845, name Hall"},
    {"", 0, nullptr, "expect object ID VALUE [within S]",
     "waits until the last report of an object has this value"},
    {"", 0, nullptr, "expect log TEXT [within S]", "waits for a log line after the last heading"},
    {"", 0, nullptr, "expect printed TEXT", "searches the output of the last huectl"},
    {"say", 2, &Prompt::say, "say TEXT", "prints a heading"},
    {"help", 1, &Prompt::print_help, "help", "prints this list"},
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
                       : fail(std::string("usage: ") + command.usage);
        }
    }
    return fail("unknown command: " + words[0] + "; help lists the commands");
}

bool Prompt::run_script(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        return fail("cannot read " + path);
    }
    int number = 0;
    for (std::string line; !is_over_ && std::getline(file, line);) {
        ++number;
        if (!run(line)) {
            return is_interrupted_() ? false : fail(path + ", line " + std::to_string(number));
        }
        if (is_interrupted_()) {
            return false;
        }
    }
    return true;
}

bool Prompt::fail(const std::string& text) {
    console_.print("!! " + text);
    return false;
}

bool Prompt::wait_until(const std::function<bool()>& predicate, double seconds) {
    const auto limit = std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
    bool is_met = false;
    house_.wait_until([&] { return (is_met = predicate()) || is_interrupted_(); }, limit);
    return is_met;
}

bool Prompt::set(const Words& words) {
    int object = 0;
    if (!to_number(words[1], object)) {
        return fail("not an object number: " + words[1]);
    }
    const auto status = house_.core().run_object(object, words[2]);
    if (!status || *status != 0) {
        return fail("the daemon refused the command: " +
                    (status ? "status " + std::to_string(*status) : std::string("no answer")));
    }
    return true;
}

bool Prompt::bulb(const Words& words) {
    int id = 0;
    const Json::Value members = members_of(words, 2);
    if (!to_number(words[1], id) || members.isNull()) {
        return fail("usage: bulb ID on|off|bri N|ct N|hue N sat N|xy X Y");
    }
    for (const Json::Value& element : house_.light(id).change(members)) {
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
        return fail("usage: list objects|lights");
    }
    return true;
}

void Prompt::list_objects() {
    for (const House::RoleObject& object : house_.objects()) {
        std::ostringstream line;
        line << "  object " << object.id << "  light " << object.light << "  " << object.role
             << "  \"" << object.name
             << "\"  reported: " << house_.core().value(object.id).value_or("none");
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

bool Prompt::bridge(const Words& words) {
    for (const BridgeFault& fault : kBridgeFaults) {
        if (words[1] == fault.name) {
            fault.inject(house_.bridge());
            house_.journal().add(EventKind::house, "bridge: " + words[1]);
            return true;
        }
    }
    return fail("not a fault of the bridge: " + words[1]);
}

bool Prompt::core(const Words& words) {
    if (words[1] == "cut") {
        house_.core().inject_fault("cut");
    } else if (words[1] == "silent") {
        house_.core().inject_fault("silent");
    } else if (words[1] == "restore") {
        house_.core().recover();
    } else {
        return fail("usage: core cut|silent|restore");
    }
    house_.journal().add(EventKind::house, "core: " + words[1]);
    return true;
}

bool Prompt::wait(const Words& words) {
    double seconds = 0;
    if (!to_seconds(words[1], seconds)) {
        return fail("not a number of seconds: " + words[1]);
    }
    wait_until([] { return false; }, seconds);
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
