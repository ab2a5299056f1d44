#include "simulator/Prompt.h"

#include <fstream>
#include <sstream>

namespace simulator {
namespace {

struct Trouble {
    const char* name;
    void (*cause)(Bridge&);
};

constexpr Trouble kTroubles[] = {
    {"cut", [](Bridge& bridge) { bridge.refuse_connections(); }},
    {"restore", [](Bridge& bridge) { bridge.recover(); }},
    {"reset", [](Bridge& bridge) { bridge.reset_connections(); }},
    {"stall", [](Bridge& bridge) { bridge.stall(); }},
    {"garbage", [](Bridge& bridge) { bridge.send_garbage(); }},
    {"html", [](Bridge& bridge) { bridge.send_html(); }},
    {"half", [](Bridge& bridge) { bridge.send_half(); }},
    {"slow", [](Bridge& bridge) { bridge.send_slowly(); }},
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
    {"set", 3, &Prompt::set, "set OBJECT VALUE", "the core runs an object: 1, 50, #5580C0"},
    {"bulb", 3, &Prompt::bulb, "bulb ID on|off|bri N|ct N|hue N sat N|xy X Y",
     "somebody changes a light past the daemon"},
    {"list", 2, &Prompt::list, "list objects|lights", "what there is, and how it stands"},
    {"bridge", 2, &Prompt::bridge, "bridge cut|reset|stall|garbage|html|half|slow|restore",
     "the bridge fails in this way until it is restored"},
    {"core", 2, &Prompt::core, "core cut|silent|restore", "the core's socket fails in this way"},
    {"huectl", 2, &Prompt::huectl, "huectl WORD...",
     "the installer runs the tool: discover, pair 127.0.0.80, ..."},
    {"button", 1, &Prompt::button, "button [soon|in SECONDS]",
     "somebody presses the bridge's link button: now, after 2 to 6 seconds, or then"},
    {"store", 1, &Prompt::store, "store",
     "the bridge's parameters that huectl printed last go into the database"},
    {"start", 1, &Prompt::start, "start", "starts the daemon, unless it runs"},
    {"wait", 2, &Prompt::wait, "wait SECONDS", "lets time pass"},
    {"expect", 3, &Prompt::expect, "expect light ID FIELD VALUE [within S]",
     "waits for a light to be so: power on, bri 127, ct 326, hue 21845, name Hall"},
    {"", 0, nullptr, "expect object ID VALUE [within S]",
     "waits for the daemon to report this value last"},
    {"", 0, nullptr, "expect log TEXT [within S]", "waits for a log line since the last heading"},
    {"", 0, nullptr, "expect printed TEXT", "looks for it in what huectl printed last"},
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
        return fail("no object's number: " + words[1]);
    }
    const auto status = house_.core().run_object(object, words[2]);
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
        house_.core().stop();
    } else if (words[1] == "silent") {
        house_.core().inject_fault(Core::Fault::silent);
    } else if (words[1] == "restore") {
        house_.core().recover();
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
