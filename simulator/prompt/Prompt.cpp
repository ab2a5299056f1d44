#include "simulator/prompt/Prompt.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>

namespace simulator {
namespace {

constexpr int kMostCommands = 10000000;
constexpr int kLargestNumber = 65535;
constexpr int kLargestExitCode = 255;

void require_one_of(const Words& words, const std::string& word) {
    require(std::find(words.begin(), words.end(), word) != words.end(),
            "not one of " + joined(words, 0, words.size()) + ": " + word);
}

template <typename Service>
void require_fault(Session&, const std::string& word) {
    require_one_of(Service::fault_names(), word);
}

// What a word must be to fill a slot; other slots take any word.
const std::map<std::string, void (*)(Session&, const std::string&)> kSlots = {
    {"SECONDS", [](Session&, const std::string& word) { to_seconds(word); }},
    {"COUNT", [](Session&, const std::string& word) { to_number(word, 0, kMostCommands); }},
    {"NUMBER", [](Session&, const std::string& word) { to_number(word, 0, kLargestExitCode); }},
    {"ID", [](Session&, const std::string& word) { to_number(word, 0, INT32_MAX); }},
    {"OFFSET", [](Session&, const std::string& word) { to_number(word, INT32_MIN, INT32_MAX); }},
    {"SIGNAL", [](Session&, const std::string& word) { to_signal(word); }},
    {"LIGHT",
     [](Session& session, const std::string& word) {
         const auto ids = session.house().bridge().light_ids();
         const int id = to_number(word, 0, kLargestNumber);
         require(std::count(ids.begin(), ids.end(), id) != 0, "no such light: " + word);
     }},
    {"OBJECT", [](Session& session,
                  const std::string& word) { session.object(to_number(word, 0, kMostCommands)); }},
    {"BRIDGE-FAULT", require_fault<Bridge>},
    {"CORE-FAULT", require_fault<Core>},
    {"DATABASE-FAULT", require_fault<DatabaseService>},
    {"LOG-FAULT", require_fault<SystemLog>},
    {"PART", [](Session&, const std::string& word) { require_one_of(Session::parts(), word); }},
};

}  // namespace

std::vector<Command> all_commands() {
    std::vector<Command> all = house_commands();
    for (const auto& commands : {fault_commands(), expect_commands()}) {
        all.insert(all.end(), commands.begin(), commands.end());
    }
    return all;
}

Prompt::Prompt(Session& session) : session_(session), commands_(all_commands()) {}

std::string Prompt::help() {
    std::string text;
    for (const Command& command : all_commands()) {
        text += std::string("  ") + command.form + "\n      " + command.meaning + "\n";
    }
    return text;
}

std::vector<std::string> Prompt::words_after(const std::string& beginning) const {
    Words typed = words_of(beginning);
    if (!typed.empty() && beginning.back() != ' ') {
        typed.pop_back();
    }
    std::set<std::string> found;
    for (const Command& command : commands_) {
        const Words words = simulator::words_after(command.form, typed);
        found.insert(words.begin(), words.end());
    }
    return {found.begin(), found.end()};
}

// The form that fits; otherwise the reason of the one that fits furthest.
Prompt::Step Prompt::parse(const Words& words) {
    const SlotCheck check = [this](const std::string& slot, const std::string& word) {
        const auto found = kSlots.find(slot);
        if (found != kSlots.end()) {
            found->second(session_, word);
        }
    };
    std::size_t furthest = 1;
    std::string reason = "unknown command: " + words[0] + "; help lists the commands";
    for (const Command& command : commands_) {
        std::size_t matched = 0;
        try {
            Step step{&command, match(command.form, words, check, matched)};
            if (command.check != nullptr) {
                command.check({session_, step.slots});
            }
            return step;
        } catch (const CommandError& problem) {
            if (matched >= furthest) {
                furthest = matched;
                reason = problem.what();
            }
        }
    }
    throw CommandError(reason);
}

void Prompt::execute(const Step& step) {
    require(!step.command->is_declaration || is_declaring_, "belongs before the first command");
    if (!step.command->is_declaration) {
        is_declaring_ = false;
        session_.house();  // runs from the first command on
    }
    session_.used.insert(step.command->form);
    step.command->run({session_, step.slots});
}

std::string Prompt::run(const std::string& line) {
    try {
        const Words words = words_of(line);
        if (!words.empty()) {
            execute(parse(words));
        }
        return {};
    } catch (const std::exception& problem) {
        session_.console().print(std::string("!! ") + problem.what());
        return problem.what();
    }
}

Prompt::Result Prompt::run_script(const std::string& name, std::istream& text, bool is_stream) {
    std::vector<std::pair<int, Step>> steps;
    int number = 0;
    const auto goes_on = [this] { return !session_.is_interrupted() && !session_.is_over; };
    try {
        for (std::string line; goes_on() && std::getline(text, line);) {
            ++number;
            const Words words = words_of(line);
            if (words.empty()) {
                continue;
            }
            steps.emplace_back(number, parse(words));
            if (is_stream || steps.back().second.command->is_declaration) {
                require(steps.size() == 1, "belongs before the first command");
                execute(steps.back().second);
                steps.clear();
            }
        }
        for (auto step = steps.begin(); step != steps.end() && goes_on(); ++step) {
            number = step->first;
            execute(step->second);
        }
        return session_.judge() ? passed : failed;
    } catch (const SkippedScript& reason) {
        session_.console().print(name + ": skipped, " + reason.what());
        return skipped;
    } catch (const std::exception& problem) {
        session_.console().print("!! " + name + ", line " + std::to_string(number) + ": " +
                                 problem.what());
        return failed;
    }
}

}  // namespace simulator
