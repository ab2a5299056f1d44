#include "libcbase/DBManagerutil.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include <strings.h>
#include <sys/socket.h>

#include "libcbase/Cstylecode.h"
#include "libcbase/memory.h"
#include "libcbase/utility.h"

namespace {

using dbmanager_format::kBodyBytes;
using dbmanager_format::kExchangeSeconds;
using dbmanager_format::kRequestBufferBytes;

constexpr const char* kServiceAddress = "127.0.0.1";
constexpr const char* kClosedByPeer = "connection closed by the peer";

constexpr std::string_view kLengthTag = "Response payload length: ";
constexpr std::string_view kStatusTag = "Response: ";
constexpr std::string_view kInsertedTag = "LastInsertedID: ";
constexpr std::string_view kRowsTag = "NextRows: ";
constexpr std::string_view kFirstRowTag = "Row000001: ";
constexpr std::size_t kRowTagBytes = kFirstRowTag.size();

// What stands in front of a status's number, whatever it is: "FSMC-".
constexpr std::size_t kStatusPrefixBytes = 5;
// What an answer without a status counts as.
constexpr const char* kNoStatus = "FSMC-008";
constexpr int kNoStatusNumber = 8;

constexpr const char* kFunctions[] = {"DDL-SQL", "DML-SQL"};
constexpr const char* kTypes[] = {"CREATE-TRIGGER", "DROP-TRIGGER", "INSERT", "UPDATE",
                                  "DELETE",         "TRANSACTION",  "SELECT"};

template <std::size_t N>
bool is_one_of(const char* const (&names)[N], const char* name) {
    return std::any_of(names, names + N,
                       [name](const char* known) { return strcasecmp(known, name) == 0; });
}

std::string compose_lines(const char* function, const char* type, const char* payload_length,
                          std::string_view statement) {
    std::string text;
    text.append("Request: ").append(function).append("\n");
    text.append("Type: ").append(type).append("\n");
    text.append("Statement payload length: ").append(payload_length).append("\n");
    text.append("Statement: ").append(statement).append("\n\n");
    return text;
}

bool begins_with(std::string_view text, std::string_view tag) {
    return text.size() >= tag.size() && strncasecmp(text.data(), tag.data(), tag.size()) == 0;
}

// As parse_int32, for the number at the front of `text`, whatever stands behind it.
int parse_leading_number(std::string_view text, std::int32_t* out) {
    const std::size_t sign = !text.empty() && text[0] == '-' ? 1 : 0;
    const std::size_t end = std::min(text.find_first_not_of("0123456789", sign), text.size());
    const std::string digits(text.substr(0, end));
    return parse_int32(digits.c_str(), 10, out);
}

std::optional<std::int32_t> leading_number(std::string_view text) {
    std::int32_t number = 0;
    return parse_leading_number(text, &number) == PARSE_NUMBER_OK ? std::make_optional(number)
                                                                  : std::nullopt;
}

// What follows the first `tag` in `text`; nothing when it is not there.
std::optional<std::string_view> behind(std::string_view text, std::string_view tag) {
    const std::size_t at = text.find(tag);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    return text.substr(at + tag.size());
}

// The rest of a line that begins with `tag`, when its newline is there.
std::optional<std::string_view> line_behind(std::string_view text, std::string_view tag) {
    const std::optional<std::string_view> rest = behind(text, tag);
    if (!rest || rest->find('\n') == std::string_view::npos) {
        return std::nullopt;
    }
    return rest->substr(0, rest->find('\n'));
}

// What stands before the rows: what looks like a tag inside a value is not one.
std::string_view head_of(std::string_view body) {
    return body.substr(0, body.find(kFirstRowTag));
}

// Whether a number that the caller goes by is too large to be one. Read as 0 it would pass for a
// table without rows. The ID that an earlier INSERT was given is nothing to a query.
bool has_oversized_number(std::string_view body, const char* type) {
    const auto is_oversized = [head = head_of(body)](std::string_view tag) {
        const std::optional<std::string_view> number = behind(head, tag);
        std::int32_t ignored = 0;
        return number && parse_leading_number(*number, &ignored) == PARSE_NUMBER_RANGE;
    };
    return is_oversized(kRowsTag) ||
           (strcasecmp(type, "INSERT") == 0 && is_oversized(kInsertedTag));
}

// One connection's conversation, which ends at its deadline whatever the peer does. Each operation
// is false after a failure, which reason() then tells.
class Exchange final {
  public:
    Exchange(int fd, std::chrono::steady_clock::time_point deadline)
        : fd_(fd), deadline_(deadline) {}
    ~Exchange() { shutdown(fd_.get(), SHUT_RDWR); }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    bool send_all(std::string_view text) { return send_until(fd_.get(), text, deadline_); }

    /// Appends one chunk to `text`; a peer that has closed is a failure.
    bool receive_chunk(std::string& text) {
        const ssize_t received = receive_until(fd_.get(), text, deadline_);
        is_closed_by_peer_ = received == 0;
        return received > 0;
    }

    /// Receives until `text` has `size` bytes or more.
    bool receive_up_to(std::size_t size, std::string& text) {
        while (text.size() < size) {
            if (!receive_chunk(text)) {
                return false;
            }
        }
        return true;
    }

    const char* reason() const { return is_closed_by_peer_ ? kClosedByPeer : strerror(errno); }

  private:
    FileDescriptor fd_;
    std::chrono::steady_clock::time_point deadline_;
    bool is_closed_by_peer_ = false;
};

struct Answer {
    std::string first_line;
    std::size_t announced = 0;  // bytes of the body, without what came behind them
    std::string body;
    std::string status;
};

int fail_to_send(const char* reason, const char* function) {
    error(
        "DBManagerutil->dbmanager_socket_request send writing request failed with error '%s' for "
        "function %s",
        reason, function);
    return DBMANAGER_SEND_FAILED;
}

int fail_to_receive(const char* reason, const char* function) {
    error(
        "DBManagerutil->dbmanager_socket_request recv reading response failed with error '%s' for "
        "function %s",
        reason, function);
    return DBMANAGER_RECEIVE_FAILED;
}

// The body's announced length; nothing when the line is not of that form, or beyond kBodyBytes.
std::optional<std::size_t> announced_length(const std::string& first_line) {
    std::int32_t length = 0;
    if (!begins_with(first_line, kLengthTag) || first_line.find('\0') != std::string::npos ||
        parse_int32(first_line.c_str() + kLengthTag.size(), 10, &length) != PARSE_NUMBER_OK ||
        length < 0 || static_cast<std::size_t>(length) > kBodyBytes) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(length);
}

// Receives the body of `length` bytes, from its status tag on, and its status. What came with the
// last of it is no part of the verdict, which would otherwise depend on how TCP cuts: so the tag is
// looked for only within `length` bytes behind the first line, and the status within those of the
// body. Without the tag, what stands behind the first line is the body.
bool receive_body(Exchange& exchange, std::size_t length, Answer& answer) {
    if (!exchange.receive_up_to(length, answer.body)) {
        return false;
    }
    const std::size_t tag = std::string_view(answer.body).substr(0, length).find(kStatusTag);
    if (tag != std::string::npos) {
        answer.body.erase(0, tag);
        if (!exchange.receive_up_to(length, answer.body)) {
            return false;
        }
    }
    // The outputs are C strings: what stands behind a zero byte could not be reached.
    answer.body.resize(std::min(answer.body.find('\0'), answer.body.size()));
    const std::string_view announced = std::string_view(answer.body).substr(0, length);
    answer.status = std::string(line_behind(announced, kStatusTag).value_or(kNoStatus));
    return true;
}

int receive_answer(Exchange& exchange, const char* function, Answer& answer) {
    std::string text;
    std::size_t newline = std::string::npos;
    while (newline == std::string::npos && text.size() < kReceiveChunkBytes) {
        if (!exchange.receive_chunk(text)) {
            return fail_to_receive(exchange.reason(), function);
        }
        newline = text.find('\n');
    }
    answer.first_line = text.substr(0, newline);
    const std::optional<std::size_t> length = announced_length(answer.first_line);
    // A chunk behind the first may hold the end of a line that is too long.
    if (newline >= kReceiveChunkBytes || !length) {
        error(
            "DBManagerutil->dbmanager_socket_request strtok parsing 'Response payload length: ' "
            "response tag failed for function %s",
            function);
        return DBMANAGER_RECEIVE_FAILED;
    }
    answer.announced = *length;
    answer.body = text.substr(newline + 1);
    if (!receive_body(exchange, *length, answer)) {
        return fail_to_receive(exchange.reason(), function);
    }
    return DBMANAGER_OK;
}

void give(char** out, const std::string& text) {
    if (out != nullptr) {
        *out = xstrcpy(nullptr, text.c_str());
    }
}

// The NNN of "FSMC-NNN".
int status_number(std::string_view status) {
    status.remove_prefix(std::min(kStatusPrefixBytes, status.size()));
    const std::int32_t number = leading_number(status).value_or(kNoStatusNumber);
    return number < 0 ? kNoStatusNumber : number;
}

}  // namespace

queryresults* queryresultsinit() {
    auto* const record = static_cast<queryresults*>(xmalloc(sizeof(queryresults)));
    if (record != nullptr) {
        record->count = -1;
    }
    return record;
}

int queryresultsfree(queryresults* record) {
    if (record == nullptr) {
        return -1;
    }
    xfree(record->second);
    xfree(record->first);
    xfree(record);
    return 0;
}

int dbmanager_socket_request(int port, const char* function, const char* type,
                             const char* payload_length, const char* statement,
                             char** out_first_line, char** out_status, char** out_body_length,
                             char** out_body) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kExchangeSeconds);
    for (char** out : {out_first_line, out_status, out_body_length, out_body}) {
        if (out != nullptr) {
            *out = nullptr;
        }
    }
    function = text_or_empty(function);
    type = text_or_empty(type);
    if (!is_one_of(kFunctions, function)) {
        error("DBManagerutil->dbmanager_socket_request error function %s not supported", function);
        return DBMANAGER_UNSUPPORTED;
    }
    if (!is_one_of(kTypes, type)) {
        error("DBManagerutil->dbmanager_socket_request error type %s not supported", type);
        return DBMANAGER_UNSUPPORTED;
    }
    const std::string request =
        compose_lines(function, type, text_or_empty(payload_length), text_or_empty(statement));
    if (request.size() >= kRequestBufferBytes) {
        return fail_to_send(strerror(EMSGSIZE), function);
    }
    FileDescriptor fd(make_internettcpclient_socket(kServiceAddress, port));
    if (!fd) {
        error(
            "DBManagerutil->dbmanager_socket_request error opening socket DBManager clientside for "
            "function %s",
            function);
        return DBMANAGER_CONNECT_FAILED;
    }
    Answer answer;
    {
        Exchange exchange(fd.release(), deadline);
        if (!exchange.send_all(request)) {
            return fail_to_send(exchange.reason(), function);
        }
        const int result = receive_answer(exchange, function, answer);
        if (result != DBMANAGER_OK) {
            return result;
        }
    }
    const std::string_view announced = std::string_view(answer.body).substr(0, answer.announced);
    if (status_number(answer.status) == DBMANAGER_OK && has_oversized_number(announced, type)) {
        return fail_to_receive(strerror(ERANGE), function);
    }
    give(out_first_line, answer.first_line);
    give(out_status, answer.status);
    give(out_body_length, std::to_string(answer.body.size()));
    give(out_body, answer.body);
    return status_number(answer.status);
}

namespace dbmanager_format {
namespace {

// Takes "TAG rest\n" off the front of `text`.
std::optional<std::string_view> take_line(std::string_view& text, std::string_view tag) {
    const std::size_t newline = text.find('\n');
    if (newline == std::string_view::npos || text.substr(0, tag.size()) != tag ||
        newline < tag.size()) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(tag.size(), newline - tag.size());
    text.remove_prefix(newline + 1);
    return rest;
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
    return compose_lines(request.function.c_str(), request.type.c_str(),
                         std::to_string(request.statement.size()).c_str(), request.statement);
}

std::optional<Request> parse_request(std::string_view text) {
    const auto function = take_line(text, "Request: ");
    const auto type = function ? take_line(text, "Type: ") : std::nullopt;
    const auto length_text = type ? take_line(text, "Statement payload length: ") : std::nullopt;
    std::int32_t length = 0;
    if (!length_text ||
        parse_int32(std::string(*length_text).c_str(), 10, &length) != PARSE_NUMBER_OK ||
        length < 0) {
        return std::nullopt;
    }
    constexpr std::string_view kStatementTag = "Statement: ";
    constexpr std::string_view kEnd = "\n\n";
    // A statement may hold newlines: it is cut by its length.
    const auto statement_bytes = static_cast<std::size_t>(length);
    if (text.size() < kStatementTag.size() + kEnd.size() ||
        text.size() - kStatementTag.size() - kEnd.size() != statement_bytes ||
        text.substr(0, kStatementTag.size()) != kStatementTag ||
        text.substr(text.size() - kEnd.size()) != kEnd) {
        return std::nullopt;
    }
    return Request{std::string(*function), std::string(*type),
                   std::string(text.substr(kStatementTag.size(), statement_bytes))};
}

std::string compose_response(const Response& response) {
    std::string body;
    body.append(kStatusTag).append(response.status).append("\n");
    body.append(kInsertedTag).append(std::to_string(response.last_inserted_id)).append("\n");
    body.append(kRowsTag).append(std::to_string(response.rows.size())).append("\n");
    if (!response.rows.empty()) {
        std::size_t number = 1;
        append_row(body, number, response.columns);
        for (const std::vector<std::string>& row : response.rows) {
            append_row(body, ++number, row);
        }
    }
    std::string text(kLengthTag);
    return text.append(std::to_string(body.size())).append("\n").append(body);
}

Response parse_response(std::string_view body) {
    Response response;
    const std::string_view head = head_of(body);
    if (const auto status = line_behind(head, kStatusTag)) {
        response.status = std::string(*status);
    }
    if (const auto inserted = behind(head, kInsertedTag)) {
        response.last_inserted_id = leading_number(*inserted).value_or(0);
    }
    const auto rows = behind(head, kRowsTag);
    if (rows && leading_number(*rows).value_or(0) >= 1) {
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
