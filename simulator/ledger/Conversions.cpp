#include "simulator/ledger/Conversions.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "simulator/Installation.h"
#include "simulator/TextTable.h"

namespace simulator {
namespace {

constexpr int kHueStep = 257;  // a hue of the core has 8 bits: only these can be commanded

const Conversions::Role kRoles[] = {
    {"on_off", {"on"}, 1, {0}},
    {"value", {"bri"}, 100, {0}},
    {"temperature", {"ct"}, 100, {0}},
    {"r", {"hue", "sat", "bri"}, 255, {5}},
    {"g", {"hue", "sat", "bri"}, 255, {5}},
    {"b", {"hue", "sat", "bri"}, 255, {5}},
    {"hsv", {"hue", "sat", "bri"}, 0xFFFFFF, {150, 5, 5}},
    {"rgb", {"hue", "sat", "bri"}, 0, {}},
};

// The cells from `first` on, all numbers; no numbers for "off".
Conversions::Numbers numbers_in(const TextRow& row, std::size_t first, std::size_t count) {
    Conversions::Numbers numbers;
    for (std::size_t i = first; i < first + count && row.cells.at(first) != "off"; ++i) {
        numbers.push_back(number_of(row.cells.at(i)));
        if (numbers.back() < 0) {
            throw std::runtime_error(row.place + ": not a number in cell " + std::to_string(i + 1));
        }
    }
    return numbers;
}

Conversions::Numbers members_of(const std::string& role, const Json::Value& state) {
    Conversions::Numbers numbers;
    for (const std::string& member : Conversions::role(role).members) {
        numbers.push_back(state[member].asInt());
    }
    return numbers;
}

}  // namespace

int number_of(const std::string& payload) {
    const bool is_color = payload.size() == 7 && payload[0] == '#';
    try {
        std::size_t length = 0;
        const std::string digits = is_color ? payload.substr(1) : payload;
        const int number = std::stoi(digits, &length, is_color ? 16 : 10);
        return length == digits.size() ? number : -1;
    } catch (const std::exception&) {
        return -1;
    }
}

Conversions::Conversions()
    : sent_{{{"on_off", {0}}, {0}}, {{"on_off", {1}}, {1}}, {{"hsv", {0}}, {}}},
      reported_{{{"on_off", {0}}, "0"}, {{"on_off", {1}}, "1"}} {
    for (const TextRow& row : read_table(Installation::file("conversions.txt"))) {
        if (row.section == "color") {
            const Numbers color = numbers_in(row, 0, 3);
            numbers_in(row, 3, 4);
            for (std::size_t i = 0; i < 4; ++i) {
                const char* const roles[] = {"r", "g", "b", "hsv"};
                reported_[{roles[i], color}] = row.cells[3 + i];
            }
            if (color[0] % kHueStep == 0) {
                sent_.insert({{"hsv", numbers_in(row, 6, 1)}, color});
            }
        } else if (row.section == "rgb") {
            sent_[{"rgb", numbers_in(row, 0, 3)}] = numbers_in(row, 3, 3);
        } else {
            const std::string role = row.section == "brightness" ? "value" : row.section;
            if (row.cells[0] != "-") {
                sent_[{role, numbers_in(row, 0, 1)}] = numbers_in(row, 1, 1);
            }
            if (row.cells.at(2) != "-") {
                numbers_in(row, 2, 1);
                reported_[{role, numbers_in(row, 1, 1)}] = row.cells[2];
            }
        }
    }
}

const Conversions::Role& Conversions::role(const std::string& name) {
    for (const Role& role : kRoles) {
        if (role.name == name) {
            return role;
        }
    }
    throw std::runtime_error("unknown role: " + name);
}

Conversions::Numbers Conversions::parts(const std::string& role, const std::string& value) {
    const int number = number_of(value);
    return role == "hsv" ? Numbers{number >> 16, (number >> 8) & 255, number & 255}
                         : Numbers{number};
}

bool Conversions::differ(const std::string& role, const Numbers& a, const Numbers& b) {
    const Numbers& tolerance = Conversions::role(role).tolerance;
    for (std::size_t i = 0; i < tolerance.size(); ++i) {
        if (std::abs(a[i] - b[i]) > tolerance[i]) {
            return true;
        }
    }
    return false;
}

std::optional<Json::Value> Conversions::sent(const std::string& role, const Numbers& value) const {
    const auto row = sent_.find({role, value});
    if (row == sent_.end()) {
        return std::nullopt;
    }
    Json::Value body;
    if (role == "on_off" || row->second.empty()) {
        body["on"] = !row->second.empty() && row->second[0] == 1;
        return body;
    }
    for (std::size_t i = 0; i < row->second.size(); ++i) {
        body[Conversions::role(role).members[i]] = row->second[i];
    }
    return body;
}

std::optional<std::string> Conversions::reported(const std::string& role,
                                                 const Json::Value& state) const {
    const auto row = reported_.find({role, members_of(role, state)});
    return row == reported_.end() ? std::nullopt : std::optional(row->second);
}

std::optional<Conversions::Numbers> Conversions::compared(const std::string& role,
                                                          const Json::Value& state) const {
    const Numbers numbers = members_of(role, state);
    if (numbers.size() == 1) {
        return numbers;
    }
    const auto text = reported(role, state);
    return text ? std::optional(parts(role, *text)) : std::nullopt;
}

std::vector<std::string> Conversions::payloads(const std::string& role) const {
    if (is_channel(role)) {
        return {"1", "254"};
    }
    std::vector<std::string> payloads;
    for (const auto& [key, numbers] : sent_) {
        if (key.first == role && !numbers.empty()) {
            char text[16];
            std::snprintf(text, sizeof(text), role == "hsv" ? "#%06X" : "%d", key.second[0]);
            payloads.emplace_back(text);
        }
    }
    return payloads;
}

}  // namespace simulator
