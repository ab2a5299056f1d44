#include "simulator/database/DatabaseFormat.h"

#include <cstdio>

namespace simulator {
namespace {

// Takes "TAG rest\n" off the front of `text`.
std::optional<std::string> take_line(std::string_view& text, std::string_view tag) {
    const std::size_t newline = text.find('\n');
    if (newline == std::string_view::npos || text.substr(0, tag.size()) != tag ||
        newline < tag.size()) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(tag.size(), newline - tag.size());
    text.remove_prefix(newline + 1);
    return std::string(rest);
}

void append_row(std::string& text, std::size_t number, const std::vector<std::string>& values) {
    char label[32];
    std::snprintf(label, sizeof(label), "Row%06zu: ", number);
    text += label;
    for (std::size_t i = 0; i < values.size(); ++i) {
        text.append(i == 0 ? "" : ",").append(values[i]);
    }
    text += '\n';
}

}  // namespace

std::optional<dbmanager_format::Request> parse_request(std::string_view text) {
    constexpr std::string_view kTag = "Statement: ";
    constexpr std::string_view kEnd = "\n\n";
    const auto function = take_line(text, "Request: ");
    const auto type = function ? take_line(text, "Type: ") : std::nullopt;
    const auto length = type ? take_line(text, "Statement payload length: ") : std::nullopt;
    if (!length || text.size() < kTag.size() + kEnd.size() || text.substr(0, kTag.size()) != kTag ||
        text.substr(text.size() - kEnd.size()) != kEnd) {
        return std::nullopt;
    }
    // A statement may hold newlines: its length says where it ends.
    const std::string statement(text.substr(kTag.size(), text.size() - kTag.size() - kEnd.size()));
    if (*length != std::to_string(statement.size())) {
        return std::nullopt;
    }
    return dbmanager_format::Request{*function, *type, *length, statement};
}

std::string compose_response(const dbmanager_format::Response& response) {
    std::string body = "Response: " + response.status + "\n";
    body.append("LastInsertedID: ").append(std::to_string(response.last_inserted_id)).append("\n");
    body.append("NextRows: ").append(std::to_string(response.rows.size())).append("\n");
    if (!response.rows.empty()) {
        std::size_t number = 1;
        append_row(body, number, response.columns);
        for (const std::vector<std::string>& row : response.rows) {
            append_row(body, ++number, row);
        }
    }
    return "Response payload length: " + std::to_string(body.size()) + "\n" + body;
}

}  // namespace simulator
