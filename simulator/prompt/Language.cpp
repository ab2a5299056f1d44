#include "simulator/prompt/Language.h"

#include <cstdlib>
#include <sstream>

namespace simulator {
namespace {

constexpr double kLongestSeconds = 1e6;
constexpr const char* kRest = "...";

bool is_slot(const std::string& word) {
    return word[0] >= 'A' && word[0] <= 'Z';
}

bool is_one_of(const std::string& alternatives, const std::string& word) {
    return ("|" + alternatives + "|").find("|" + word + "|") != std::string::npos;
}

// Takes "[within SECONDS]" off the form, and its words off the line if they are there.
void take_option(std::string& form, Words& words, const SlotCheck& check, Slots& slots) {
    const std::size_t bracket = form.find(" [");
    if (bracket == std::string::npos) {
        return;
    }
    const Words option = words_of(form.substr(bracket + 2, form.size() - bracket - 3));
    form.resize(bracket);
    if (words.size() > option.size() && words[words.size() - option.size()] == option[0]) {
        for (std::size_t i = 1; i < option.size(); ++i) {
            const std::string& word = words[words.size() - option.size() + i];
            check(option[i], word);
            slots.set(option[i], word);
        }
        words.resize(words.size() - option.size());
    }
}

}  // namespace

std::string Slots::text(const std::string& slot) const {
    const auto found = words_.find(slot);
    return found == words_.end() ? "" : found->second;
}

int Slots::number(const std::string& slot, int otherwise) const {
    return has(slot) ? std::atoi(text(slot).c_str()) : otherwise;
}

double Slots::seconds(const std::string& slot, double otherwise) const {
    return has(slot) ? std::strtod(text(slot).c_str(), nullptr) : otherwise;
}

Words words_of(const std::string& line) {
    Words words;
    std::istringstream text(line);
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    return words.empty() || words[0][0] == '#' ? Words{} : words;
}

std::string joined(const Words& words, std::size_t first) {
    std::string text;
    for (std::size_t i = first; i < words.size(); ++i) {
        text += (i == first ? "" : " ") + words[i];
    }
    return text;
}

Slots match(const std::string& form, const Words& words, const SlotCheck& check,
            std::size_t& matched) {
    Slots slots;
    std::string fixed = form;
    Words rest = words;
    matched = 0;
    // A wrong option is found only after the words before it: it counts as one of them.
    take_option(fixed, rest, check, slots);
    for (const std::string& part : words_of(fixed)) {
        if (matched == rest.size()) {
            throw CommandError("usage: " + form);
        }
        if (!is_slot(part)) {
            if (!is_one_of(part, rest[matched])) {
                throw CommandError("usage: " + form);
            }
            slots.set(part, rest[matched++]);
            continue;
        }
        const bool takes_rest = part.size() > 3 && part.substr(part.size() - 3) == kRest;
        const std::string slot = takes_rest ? part.substr(0, part.size() - 3) : part;
        const std::string word = takes_rest ? joined(rest, matched) : rest[matched];
        check(slot, word);
        slots.set(slot, word);
        matched = takes_rest ? rest.size() : matched + 1;
    }
    if (matched < rest.size()) {
        throw CommandError("usage: " + form);
    }
    matched = words.size();
    return slots;
}

int to_number(const std::string& word, int smallest, int largest) {
    char* end = nullptr;
    const long long number = std::strtoll(word.c_str(), &end, 10);
    if (word.empty() || *end != '\0' || number < smallest || number > largest) {
        throw CommandError("not a number from " + std::to_string(smallest) + " to " +
                           std::to_string(largest) + ": " + word);
    }
    return static_cast<int>(number);
}

double to_seconds(const std::string& word) {
    char* end = nullptr;
    const double seconds = std::strtod(word.c_str(), &end);
    if (word.empty() || *end != '\0' || !(seconds >= 0 && seconds <= kLongestSeconds)) {
        throw CommandError("not a number of seconds: " + word);
    }
    return seconds;
}

}  // namespace simulator
