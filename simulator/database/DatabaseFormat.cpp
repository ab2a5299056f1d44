#include "simulator/database/DatabaseFormat.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <string_view>

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
    std::ostringstream body;
    body << "Response: " << response.status << "\nLastInsertedID: " << response.last_inserted_id
         << "\nNextRows: " << response.rows.size() << '\n';
    int number = 0;
    const auto add_row = [&](const std::vector<std::string>& values) {
        body << "Row" << std::setw(6) << std::setfill('0') << ++number << ": ";
        for (std::size_t i = 0; i < values.size(); ++i) {
            body << (i == 0 ? "" : ",") << values[i];
        }
        body << '\n';
    };
    if (!response.rows.empty()) {
        add_row(response.columns);
        std::for_each(response.rows.begin(), response.rows.end(), add_row);
    }
    return "Response payload length: " + std::to_string(body.str().size()) + "\n" + body.str();
}

}  // namespace simulator
