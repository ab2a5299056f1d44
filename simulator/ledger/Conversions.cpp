#include "simulator/ledger/Conversions.h"

#include <cstdio>
#include <stdexcept>

#include "simulator/TextTable.h"

namespace simulator {
namespace {

constexpr const char* kNone = "-";
constexpr const char* kOff = "off";
constexpr int kHueStep = 257;  // a hue of the core has 8 bits: only these can be commanded

// The cells from `first` on, all numbers.
Conversions::Numbers numbers_in(const TextRow& row, std::size_t first, std::size_t count) {
    Conversions::Numbers numbers;
    for (std::size_t i = first; i < first + count; ++i) {
        const int number = i < row.cells.size() ? number_of(row.cells[i]) : -1;
        if (number < 0) {
            throw std::runtime_error(row.place + ": not a number in cell " + std::to_string(i + 1));
        }
        numbers.push_back(number);
    }
    return numbers;
}

const char* member_of(const std::string& role) {
    return role == "value" ? "bri" : "ct";
}

Conversions::Numbers color_of(const Json::Value& state) {
    return {state["hue"].asInt(), state["sat"].asInt(), state["bri"].asInt()};
}

int channel_of(const std::string& role) {
    return role == "r" ? 0 : role == "g" ? 1 : role == "b" ? 2 : -1;
}

Json::Value body_of(const Conversions::Numbers& color) {
    Json::Value body;
    if (color.empty()) {
        body["on"] = false;
        return body;
    }
    body["hue"] = color[0];
    body["sat"] = color[1];
    body["bri"] = color[2];
    return body;
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

std::string Conversions::default_path() {
    return std::string(LUMIVAD_HOUSE_SAMPLES) + "/conversions.txt";
}

Conversions::Conversions(const std::string& path) : words_{{0, {}}} {
    for (const TextRow& row : read_table(path)) {
        if (row.section == "color") {
            const Numbers color = numbers_in(row, 0, 3);
            colors_[color] = {numbers_in(row, 3, 3), row.cells.at(6)};
            if (color[0] % kHueStep == 0) {
                words_.emplace(numbers_in(row, 6, 1)[0], color);
            }
        } else if (row.section == "rgb") {
            channels_[numbers_in(row, 0, 3)] =
                row.cells.at(3) == kOff ? Numbers{} : numbers_in(row, 3, 3);
        } else {
            const std::string role = row.section == "brightness" ? "value" : row.section;
            const int unit = row.cells.at(1) == kOff ? -1 : numbers_in(row, 1, 1)[0];
            if (row.cells[0] != kNone) {
                sent_[role][numbers_in(row, 0, 1)[0]] = unit;
            }
            if (row.cells.at(2) != kNone) {
                reported_[role][unit] = numbers_in(row, 2, 1)[0];
            }
        }
    }
}

std::optional<Json::Value> Conversions::sent(const std::string& role, int value) const {
    if (role == "hsv") {
        const auto color = words_.find(value);
        return color == words_.end() ? std::nullopt : std::optional(body_of(color->second));
    }
    const auto rows = sent_.find(role);
    if (rows == sent_.end() || rows->second.count(value) == 0) {
        return std::nullopt;
    }
    const int unit = rows->second.at(value);
    Json::Value body;
    if (unit < 0) {
        body["on"] = false;
    } else {
        body[member_of(role)] = unit;
    }
    return body;
}

std::optional<Json::Value> Conversions::sent_color(const Numbers& rgb) const {
    const auto row = channels_.find(rgb);
    return row == channels_.end() ? std::nullopt : std::optional(body_of(row->second));
}

std::optional<std::string> Conversions::reported(const std::string& role,
                                                 const Json::Value& state) const {
    if (role == "on_off") {
        return state["on"].asBool() ? "1" : "0";
    }
    const auto rows = reported_.find(role);
    if (rows != reported_.end()) {
        const auto row = rows->second.find(state[member_of(role)].asInt());
        return row == rows->second.end() ? std::nullopt
                                         : std::optional(std::to_string(row->second));
    }
    const auto color = colors_.find(color_of(state));
    if (color == colors_.end()) {
        return std::nullopt;
    }
    return role == "hsv"
               ? color->second.hsv
               : std::to_string(color->second.rgb.at(static_cast<std::size_t>(channel_of(role))));
}

std::optional<Conversions::Numbers> Conversions::compared(const std::string& role,
                                                          const Json::Value& state) const {
    if (role == "value" || role == "temperature") {
        return Numbers{state[member_of(role)].asInt()};
    }
    const auto text = reported(role, state);
    if (!text) {
        return std::nullopt;
    }
    const int number = number_of(*text);
    return role == "hsv" ? Numbers{number >> 16, (number >> 8) & 255, number & 255}
                         : Numbers{number};
}

Conversions::Numbers Conversions::tolerance(const std::string& role) {
    return role == "hsv" ? Numbers{150, 5, 5} : Numbers{channel_of(role) < 0 ? 0 : 5};
}

std::vector<std::string> Conversions::payloads(const std::string& role) const {
    std::vector<std::string> payloads;
    if (role == "on_off") {
        return {"0", "1"};
    }
    if (channel_of(role) >= 0) {
        return {"1", "254"};
    }
    if (role == "hsv") {
        for (const auto& [word, color] : words_) {
            if (!color.empty()) {
                char text[8];
                std::snprintf(text, sizeof(text), "#%06X", static_cast<unsigned>(word));
                payloads.emplace_back(text);
            }
        }
    } else {
        for (const auto& [percent, unit] : sent_.at(role)) {
            if (unit >= 0) {
                payloads.push_back(std::to_string(percent));
            }
        }
    }
    return payloads;
}

}  // namespace simulator
