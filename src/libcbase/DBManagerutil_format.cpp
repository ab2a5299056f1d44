#include "libcbase/DBManagerutil_format.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <strings.h>

#include "libcbase/utility.h"

namespace dbmanager_format {
namespace {

constexpr std::string_view kLengthTag = "Response payload length: ";
constexpr std::string_view kInsertedTag = "LastInsertedID: ";
constexpr std::string_view kRowsTag = "NextRows: ";
constexpr std::string_view kFirstRowTag = "Row000001: ";
constexpr std::size_t kRowTagBytes = kFirstRowTag.size();

// What precedes the number of a status, whatever it is: "FSMC-".
constexpr std::size_t kStatusPrefixBytes = 5;
// What an answer without a status counts as.
constexpr std::string_view kNoStatus = "FSMC-008";
constexpr int kNoStatusNumber = 8;

// As parse_int32, for the number at the front of `text`, whatever follows it.
int parse_leading_number(std::string_view text, std::int32_t* out) {
    const std::size_t sign = !text.empty() && text[0] == '-' ? 1 : 0;
    const std::size_t end = std::min(text.find_first_not_of("0123456789", sign), text.size());
    const std::string digits(text.substr(0, end));
    return parse_int32(digits.c_str(), 10, out);
}

std::int32_t leading_number(std::string_view text, std::int32_t substitute) {
    std::int32_t number = 0;
    return parse_leading_number(text, &number) == PARSE_NUMBER_OK ? number : substitute;
}

// What follows the first `tag` in `text`; nothing when it is not there.
std::optional<std::string_view> behind(std::string_view text, std::string_view tag) {
    const std::size_t at = text.find(tag);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    return text.substr(at + tag.size());
}

// What follows the first status tag in its line; nothing without the line's newline.
std::optional<std::string_view> status_line(std::string_view text) {
    const std::optional<std::string_view> rest = behind(text, kStatusTag);
    if (!rest || rest->find('\n') == std::string_view::npos) {
        return std::nullopt;
    }
    return rest->substr(0, rest->find('\n'));
}

// The part before the rows: a text inside a value that looks like a tag is not a tag.
std::string_view head_of(std::string_view body) {
    return body.substr(0, body.find(kFirstRowTag));
}

std::string in_upper_case(std::string text) {
    for (char& c : text) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return text;
}

// `text` begins with the first row's label.
void parse_rows(std::string_view text, Response& out) {
    bool is_first = true;
    for (const std::string& line : split(text, "\n")) {
        if (line.size() < kRowTagBytes) {
            continue;
        }
        std::vector<std::string> values = split(std::string_view(line).substr(kRowTagBytes), ",");
        if (is_first) {
            std::transform(values.begin(), values.end(), std::back_inserter(out.columns),
                           in_upper_case);
            is_first = false;
        } else {
            out.rows.push_back(std::move(values));
        }
    }
}

}  // namespace

std::string compose_request(const Request& request) {
    std::string text;
    text.append("Request: ").append(request.function).append("\n");
    text.append("Type: ").append(request.type).append("\n");
    text.append("Statement payload length: ").append(request.payload_length).append("\n");
    text.append("Statement: ").append(request.statement).append("\n\n");
    return text;
}

std::optional<std::size_t> parse_length_line(const std::string& line) {
    std::int32_t length = 0;
    if (line.find('\0') != std::string::npos ||
        strncasecmp(line.c_str(), kLengthTag.data(), kLengthTag.size()) != 0 ||
        parse_int32(line.c_str() + kLengthTag.size(), 10, &length) != PARSE_NUMBER_OK ||
        length < 0 || static_cast<std::size_t>(length) > kBodyBytes) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(length);
}

std::string_view status_of(std::string_view body) {
    return status_line(body).value_or(kNoStatus);
}

int status_number(std::string_view status) {
    status.remove_prefix(std::min(kStatusPrefixBytes, status.size()));
    const std::int32_t number = leading_number(status, kNoStatusNumber);
    return number < 0 ? kNoStatusNumber : number;
}

bool has_oversized_number(std::string_view body, const std::string& type) {
    // Read as 0, a count of rows would pass for a table without rows. The ID that an earlier INSERT
    // was given does not matter to a query.
    const auto is_oversized = [head = head_of(body)](std::string_view tag) {
        const std::optional<std::string_view> number = behind(head, tag);
        std::int32_t ignored = 0;
        return number && parse_leading_number(*number, &ignored) == PARSE_NUMBER_RANGE;
    };
    return is_oversized(kRowsTag) ||
           (strcasecmp(type.c_str(), "INSERT") == 0 && is_oversized(kInsertedTag));
}

Response parse_response(std::string_view body) {
    Response response;
    const std::string_view head = head_of(body);
    if (const auto status = status_line(head)) {
        response.status = *status;
    }
    if (const auto inserted = behind(head, kInsertedTag)) {
        response.last_inserted_id = leading_number(*inserted, 0);
    }
    const auto rows = behind(head, kRowsTag);
    if (rows && leading_number(*rows, 0) >= 1) {
        parse_rows(body.substr(head.size()), response);
    }
    return response;
}

std::vector<std::string> split(std::string_view text, std::string_view separator) {
    std::vector<std::string> parts;
    while (!separator.empty()) {
        const std::size_t at = text.find(separator);
        if (at == std::string_view::npos) {
            break;
        }
        parts.emplace_back(text.substr(0, at));
        text.remove_prefix(at + separator.size());
    }
    parts.emplace_back(text);
    return parts;
}

}  // namespace dbmanager_format
