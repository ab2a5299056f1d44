/// Parses the words of the program house's commands. Stateless.
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

namespace simulator {

using Words = std::vector<std::string>;

/// False unless `text` is a 32-bit number.
bool to_number(const std::string& text, int& number);
/// False unless `text` is a number of seconds between 0 and 3600.
bool to_seconds(const std::string& text, double& seconds);

std::string joined(Words::const_iterator first, Words::const_iterator last);

/// Parses members of a light's state, from the word `at` on: "on", "off", "bri 254",
/// "hue 21845 sat 128", "xy 0.3 0.2", in any combination. Null if they are invalid.
Json::Value members_of(const Words& words, std::size_t at);

}  // namespace simulator
