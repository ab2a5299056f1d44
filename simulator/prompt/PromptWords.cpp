#include "simulator/prompt/PromptWords.h"

#include <cstdint>
#include <cstdlib>

#include "libcbase/utility.h"

namespace simulator {
namespace {

constexpr double kLongestWaitSeconds = 3600;

}  // namespace

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

}  // namespace simulator
