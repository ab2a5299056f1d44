/// The client call of the database service DBManager: one connection, one statement, one answer.
///
/// Stateless; any thread may call. The format is in DBManagerutil_format.h.
#pragma once

#include <cstdint>
#include <string>

#include "libcbase/DBManagerutil_format.h"

/// The service's TCP port on the local host.
constexpr int DBMANAGER_PORT = 45168;
/// Seconds that one exchange may take in all.
constexpr int DBMANAGER_EXCHANGE_SECONDS = 10;

/// Local results of an exchange; any other value is the number of the service's status.
enum dbmanager_result {
    DBMANAGER_OK = 0,
    DBMANAGER_CONNECT_FAILED = 308,
    DBMANAGER_UNSUPPORTED = 309,
    DBMANAGER_SEND_FAILED = 310,
    DBMANAGER_RECEIVE_FAILED = 311,
};

/// Record of a query's results.
struct queryresults {
    char* first;         ///< heap string or null
    std::int32_t count;  ///< -1 until set
    char* second;        ///< heap string or null
};
/// An empty record, which the caller releases with queryresultsfree; null when memory is out.
queryresults* queryresultsinit();
/// Frees both texts and the record. 0, or -1 for null.
int queryresultsfree(queryresults* record);

/// An answer as it was received.
struct dbmanager_answer {
    std::string first_line;  ///< without its newline; empty before an answer
    std::string status;      ///< "FSMC-NNN"; "FSMC-008" if the answer has no status
    std::string body;        ///< from "Response: " on
};
/// One exchange with the service on 127.0.0.1 at `port`. Returns the status number or a
/// dbmanager_result; after a local failure, which is logged, `answer` is as before.
///
/// A request of kRequestBufferBytes or more is refused with DBMANAGER_SEND_FAILED before it is
/// sent. A success whose count of rows, or to an INSERT the ID, does not fit 32 bits is
/// DBMANAGER_RECEIVE_FAILED.
int dbmanager_exchange(int port, const dbmanager_format::Request& request,
                       dbmanager_answer& answer);
/// The same in C style. A null text counts as empty. The outputs (a null one is skipped) receive
/// heap strings, which the caller frees with xfree, or null after a local failure: the parts of
/// dbmanager_answer, and the body's length as decimal text.
int dbmanager_socket_request(int port, const char* function, const char* type,
                             const char* payload_length, const char* statement,
                             char** out_first_line, char** out_status, char** out_body_length,
                             char** out_body);
