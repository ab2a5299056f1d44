#include "simulator/database/DatabaseFormat.h"

#include <algorithm>
#include <iomanip>
#include <regex>
#include <sstream>

namespace simulator {

std::optional<dbmanager_format::Request> parse_request(const std::string& text) {
    static const std::regex kForm(
        "Request: (.*)\nType: (.*)\nStatement payload length: (.*)\nStatement: ");
    static const std::string kEnd = "\n\n";
    std::smatch head;
    if (!std::regex_search(text, head, kForm, std::regex_constants::match_continuous)) {
        return std::nullopt;
    }
    // A statement may contain newlines: its length determines its end.
    const std::string rest = head.suffix();
    const std::string statement = rest.substr(0, rest.size() - std::min(rest.size(), kEnd.size()));
    if (rest != statement + kEnd || head.str(3) != std::to_string(statement.size())) {
        return std::nullopt;
    }
    return dbmanager_format::Request{head.str(1), head.str(2), head.str(3), statement};
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
