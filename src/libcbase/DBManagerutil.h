/// The text protocol of the database service DBManager, both directions, and its client call.
///
/// This is the one place where the format is written: the composers and parsers below serve the
/// client and the simulated service alike. Stateless; any thread may call. The grammar stands in
/// docs/formats/dbmanager.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The service's TCP port on the local host.
constexpr int DBMANAGER_PORT = 45168;

/// Local results of dbmanager_socket_request; any other value is the number of the service's
/// status.
enum dbmanager_result {
    DBMANAGER_OK = 0,
    DBMANAGER_CONNECT_FAILED = 308,
    DBMANAGER_UNSUPPORTED = 309,
    DBMANAGER_SEND_FAILED = 310,
    DBMANAGER_RECEIVE_FAILED = 311,
};

/// Record of a query's results; made by queryresultsinit, released by queryresultsfree.
struct queryresults {
    char* first;         ///< heap string or null
    std::int32_t count;  ///< -1 until set
    char* second;        ///< heap string or null
};
queryresults* queryresultsinit();
/// Frees both texts and the record. 0, or -1 for null.
int queryresultsfree(queryresults* record);

/// One exchange with the service on 127.0.0.1 at `port`: one connection, one statement, at most
/// kExchangeSeconds in all.
/// `function`: DDL-SQL or DML-SQL. `type`: INSERT, SELECT and so on; both without regard to case.
/// `payload_length`: the statement's length in bytes as decimal text. A null text counts as empty.
/// Outputs: new heap strings, the caller frees each with xfree (all null on a local failure): the
/// first line as received, the status ("FSMC-NNN"; "FSMC-008" when there is none), the body's
/// length as decimal text, and the body from "Response: " on. Returns the status number or a
/// dbmanager_result; a request of 16384 bytes or more is refused with DBMANAGER_SEND_FAILED before
/// anything is sent, and a success whose count of rows, or to an INSERT the ID, is beyond 32 bits
/// is DBMANAGER_RECEIVE_FAILED. Every failure has its line in the log.
int dbmanager_socket_request(int port, const char* function, const char* type,
                             const char* payload_length, const char* statement,
                             char** out_first_line, char** out_status, char** out_body_length,
                             char** out_body);

namespace dbmanager_format {

constexpr std::size_t kRequestBufferBytes = 16384;
/// The longest body that is accepted.
constexpr std::size_t kBodyBytes = 262144;
constexpr int kExchangeSeconds = 10;

struct Request {
    std::string function;
    std::string type;
    std::string statement;
};

/// A result as the service reports it: the first row of the answer holds the column names.
struct Response {
    std::string status = "FSMC-000";
    std::int32_t last_inserted_id = 0;
    std::vector<std::string> columns;
    /// Values by position; a row may be shorter or longer than the columns.
    std::vector<std::vector<std::string>> rows;
};

std::string compose_request(const Request& request);
/// Nothing when a line is missing or the statement is not of the announced length.
std::optional<Request> parse_request(std::string_view text);

/// The whole answer, its "Response payload length: " line included. Values are not escaped: one
/// that holds a comma or a newline arrives as several.
std::string compose_response(const Response& response);
/// Reads an answer's body, from "Response: " on. Never fails: what is missing stays at its default.
/// Empty lines are ignored; labels and the announced count of rows are not compared with what
/// comes, but a count below 1, or one that cannot be read, means no rows.
Response parse_response(std::string_view body);

/// Cuts a text at every occurrence of `separator` (the whole text when that is empty).
std::vector<std::string> split(std::string_view text, std::string_view separator);

}  // namespace dbmanager_format
