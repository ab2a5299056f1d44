#include "simulator/prompt/Language.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace simulator {
namespace {

constexpr double kLongestSeconds = 1e6;

bool is_slot(const std::string& word) {
    return word[0] >= 'A' && word[0] <= 'Z';
}

Words alternatives(const std::string& part) {
    Words words;
    std::istringstream text(part);
    for (std::string word; std::getline(text, word, '|');) {
        words.push_back(word);
    }
    return words;
}

bool fits(const std::string& part, const std::string& word) {
    const Words words = alternatives(part);
    return is_slot(part) || std::find(words.begin(), words.end(), word) != words.end();
}

}  // namespace

void require(bool holds, const std::string& what) {
    if (!holds) {
        throw CommandError(what);
    }
}

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

std::string joined(const Words& words, std::size_t first, std::size_t end) {
    std::string text;
    for (std::size_t i = first; i < end; ++i) {
        text += (i == first ? "" : " ") + words[i];
    }
    return text;
}

Slots match(const std::string& form, const Words& words, const SlotCheck& check,
            std::size_t& matched) {
    Slots slots;
    Words parts = words_of(form);
    std::size_t end = words.size();
    const auto take = [&](const std::string& slot, const std::string& word, std::size_t count) {
        matched += count;
        if (is_slot(slot)) {
            check(slot, word);
        }
        slots.set(slot, word);
    };
    std::string option;  // "SECONDS]" of "[within SECONDS]"
    if (parts.back().back() == ']') {
        option = parts.back();
        const std::string keyword = parts[parts.size() - 2].substr(1);
        parts.resize(parts.size() - 2);
        end -= end > parts.size() + 1 && words[end - 2] == keyword ? 2 : 0;
    }
    matched = 0;
    for (const std::string& part : parts) {
        require(matched < end && fits(part, words[matched]), "usage: " + form);
        const std::size_t count = part.back() == '.' ? end - matched : 1;
        take(part.substr(0, part.find('.')), joined(words, matched, matched + count), count);
    }
    require(matched == end, "usage: " + form);
    if (end < words.size()) {
        take(option.substr(0, option.size() - 1), words.back(), 2);
    }
    return slots;
}

Words words_after(const std::string& form, const Words& words) {
    const Words parts = words_of(form);
    const bool fit =
        words.size() < parts.size() &&
        std::equal(words.begin(), words.end(), parts.begin(),
                   [](const auto& word, const auto& part) { return fits(part, word); });
    const std::string next = fit ? parts[words.size()] : "[";
    return is_slot(next) || next[0] == '[' ? Words{} : alternatives(next);
}

int to_number(const std::string& word, int smallest, int largest) {
    char* end = nullptr;
    const long long number = std::strtoll(word.c_str(), &end, 10);
    require(!word.empty() && *end == '\0' && number >= smallest && number <= largest,
            "not a number from " + std::to_string(smallest) + " to " + std::to_string(largest) +
                ": " + word);
    return static_cast<int>(number);
}

double to_seconds(const std::string& word) {
    char* end = nullptr;
    const double seconds = std::strtod(word.c_str(), &end);
    require(!word.empty() && *end == '\0' && seconds >= 0 && seconds <= kLongestSeconds,
            "not a number of seconds: " + word);
    return seconds;
}

int to_signal(const std::string& word) {
    for (const int number :
         {SIGTERM, SIGKILL, SIGHUP, SIGINT, SIGSEGV, SIGABRT, SIGPIPE, SIGCHLD}) {
        if (word == sigabbrev_np(number)) {
            return number;
        }
    }
    throw CommandError("not a signal: " + word);
}

}  // namespace simulator
