#include "simulator/prompt/Prompt.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <sstream>

namespace simulator {
namespace {

constexpr int kMostCommands = 10000000;
constexpr int kLargestNumber = 65535;

bool is_in(const std::vector<std::string>& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

void require_one_of(const std::vector<std::string>& words, const std::string& word) {
    Session::require(is_in(words, word), "not one of " + joined(words) + ": " + word);
}

std::vector<Command> all_commands() {
    std::vector<Command> all = house_commands();
    for (const auto& commands : {fault_commands(), expect_commands()}) {
        all.insert(all.end(), commands.begin(), commands.end());
    }
    return all;
}

}  // namespace

Prompt::Prompt(Session& session) : session_(session), commands_(all_commands()) {}

std::string Prompt::help() {
    std::string text;
    for (const Command& command : all_commands()) {
        text += std::string("  ") + command.form + "\n      " + command.meaning + "\n";
    }
    return text;
}

std::vector<std::string> Prompt::words_after(const std::string& beginning) const {
    const Words typed = words_of(beginning);
    const bool is_new_word = beginning.empty() || beginning.back() == ' ';
    const std::size_t at = typed.size() - (is_new_word ? 0 : 1);
    std::set<std::string> found;
    for (const Command& command : commands_) {
        const Words form = words_of(command.form);
        if (at < form.size() &&
            std::equal(form.begin(), form.begin() + static_cast<std::ptrdiff_t>(at), typed.begin(),
                       [](const auto& part, const auto& word) {
                           return part == word || (part[0] >= 'A' && part[0] <= 'Z');
                       }) &&
            form[at][0] >= 'a' && form[at][0] <= 'z') {
            std::istringstream alternatives(form[at]);
            for (std::string word; std::getline(alternatives, word, '|');) {
                found.insert(word);
            }
        }
    }
    return {found.begin(), found.end()};
}

void Prompt::check_slot(const std::string& slot, const std::string& word) {
    if (slot == "SECONDS") {
        to_seconds(word);
    } else if (slot == "COUNT") {
        to_number(word, 0, kMostCommands);
    } else if (slot == "NUMBER") {
        to_number(word, 0, kLargestNumber);
    } else if (slot == "OFFSET") {
        to_number(word, INT32_MIN, INT32_MAX);
    } else if (slot == "LIGHT") {
        const auto ids = session_.house().bridge().light_ids();
        Session::require(
            std::find(ids.begin(), ids.end(), to_number(word, 0, kLargestNumber)) != ids.end(),
            "no such light: " + word);
    } else if (slot == "OBJECT") {
        const int id = to_number(word, 0, kMostCommands);
        const auto objects = session_.house().objects();
        Session::require(std::any_of(objects.begin(), objects.end(),
                                     [id](const RoleObject& object) { return object.id == id; }),
                         "no such object: " + word);
    } else if (slot == "BRIDGE-FAULT") {
        require_one_of(Bridge::fault_names(), word);
    } else if (slot == "CORE-FAULT") {
        require_one_of(Core::fault_names(), word);
    } else if (slot == "DATABASE-FAULT") {
        require_one_of(DatabaseService::fault_names(), word);
    } else if (slot == "LOG-FAULT") {
        require_one_of(SystemLog::fault_names(), word);
    } else if (slot == "PART") {
        require_one_of(Session::parts(), word);
    }
}

// The form that fits; otherwise the reason of the one that fits furthest.
Prompt::Step Prompt::parse(const Words& words) {
    std::size_t furthest = 0;
    std::string reason = "unknown command: " + words[0] + "; help lists the commands";
    for (const Command& command : commands_) {
        std::size_t matched = 0;
        try {
            Slots slots = match(
                command.form, words,
                [this](const auto& slot, const auto& word) { check_slot(slot, word); }, matched);
            if (command.check != nullptr) {
                command.check(session_, slots);
            }
            return {&command, slots};
        } catch (const CommandError& problem) {
            if (matched > furthest) {
                furthest = matched;
                reason = problem.what();
            }
        }
    }
    throw CommandError(reason);
}

void Prompt::execute(const Step& step) {
    Session::require(!step.command->is_declaration || is_declaring_,
                     "belongs before the first command");
    if (!step.command->is_declaration) {
        is_declaring_ = false;
        session_.house();  // runs from the first command on
    }
    session_.used.insert(step.command->form);
    step.command->run(session_, step.slots);
}

bool Prompt::run(const std::string& line) {
    try {
        const Words words = words_of(line);
        if (!words.empty()) {
            execute(parse(words));
        }
        return true;
    } catch (const std::exception& problem) {
        session_.console().print(std::string("!! ") + problem.what());
        return false;
    }
}

Prompt::Result Prompt::run_script(const std::string& name, std::istream& text, bool is_stream) {
    std::vector<std::pair<int, Step>> steps;
    int number = 0;
    try {
        for (std::string line;
             std::getline(text, line) && !session_.is_interrupted() && !session_.is_over;) {
            ++number;
            const Words words = words_of(line);
            if (words.empty()) {
                continue;
            }
            const Step step = parse(words);
            if (is_stream || step.command->is_declaration) {
                Session::require(steps.empty(), "belongs before the first command");
                execute(step);
            } else {
                steps.emplace_back(number, step);
            }
        }
        for (const auto& [line, step] : steps) {
            number = line;
            if (session_.is_interrupted() || session_.is_over) {
                break;
            }
            execute(step);
        }
        return session_.judge() ? Result::passed : Result::failed;
    } catch (const SkippedScript& reason) {
        session_.console().print(name + ": skipped, " + reason.what());
        return Result::skipped;
    } catch (const std::exception& problem) {
        session_.console().print("!! " + name + ", line " + std::to_string(number) + ": " +
                                 problem.what());
        return Result::failed;
    }
}

}  // namespace simulator
