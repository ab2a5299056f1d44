/// The text protocol of the database service DBManager, as its client writes and reads it.
///
/// Pure functions; any thread may call. The grammar is in docs/formats/dbmanager.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dbmanager_format {

/// A request must be shorter than this.
constexpr std::size_t kRequestBufferBytes = 16384;
/// The longest body that is accepted.
constexpr std::size_t kBodyBytes = 262144;
/// The label of a body's status.
constexpr std::string_view kStatusTag = "Response: ";

/// A request of the client.
struct Request {
    std::string function;        ///< DDL-SQL or DML-SQL
    std::string type;            ///< INSERT, SELECT and so on; both without regard to case
    std::string payload_length;  ///< bytes of the statement, as decimal text
    std::string statement;       ///< SQL; it may contain newlines
};
/// The request as it is sent.
std::string compose_request(const Request& request);

/// The length that an answer's first line (without its newline) announces; nothing when the line
/// is not of that form, or the length above kBodyBytes.
std::optional<std::size_t> parse_length_line(const std::string& line);
/// The status in a body, "FSMC-008" without one.
std::string_view status_of(std::string_view body);
/// The number after the first five characters of `status`; 8 when there is no number of 0 or more.
int status_number(std::string_view status);
/// Whether the body's count of rows, or the ID in the answer to an INSERT, does not fit 32 bits.
bool has_oversized_number(std::string_view body, const std::string& type);

/// A result as the service reports it: the first row of the answer holds the column names.
struct Response {
    std::string status = "FSMC-000";    ///< FSMC-NNN
    std::int32_t last_inserted_id = 0;  ///< of an INSERT
    std::vector<std::string> columns;   ///< names, in upper case after parse_response
    /// Values by position; a row may be shorter or longer than the columns.
    std::vector<std::vector<std::string>> rows;
};
/// Reads an answer's body, from "Response: " on. Never fails: what is missing keeps its default.
/// Empty lines are ignored; labels and the announced count of rows are not compared with the rows
/// that arrive, but a count below 1, or one that cannot be read, means no rows.
Response parse_response(std::string_view body);

/// Cuts a text at every occurrence of `separator` (the whole text when that is empty).
std::vector<std::string> split(std::string_view text, std::string_view separator);

}  // namespace dbmanager_format
