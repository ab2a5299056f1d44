/// The words of a command of the program house, and what they may mean. Stateless.
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

namespace simulator {

using Words = std::vector<std::string>;

/// False when `text` is no number of 32 bits.
bool to_number(const std::string& text, int& number);
/// False when `text` is no number of seconds between 0 and an hour.
bool to_seconds(const std::string& text, double& seconds);

std::string joined(Words::const_iterator first, Words::const_iterator last);

/// Members of a light's state, from the word `at` on: "on", "off", "bri 254", "hue 21845 sat 128",
/// "xy 0.3 0.2", in any mixture; null when they are wrong.
Json::Value members_of(const Words& words, std::size_t at);

}  // namespace simulator
