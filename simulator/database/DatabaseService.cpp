#include "simulator/database/DatabaseService.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include <sqlite3.h>

#include "simulator/database/DatabaseFormat.h"

namespace simulator {
namespace {

using dbmanager_format::Response;

constexpr std::chrono::seconds kRequestLimit{5};
constexpr std::chrono::milliseconds kSlowPause{2};
const Response kRefusal{"FSMC-013", 0, {}, {}};

int add_row(void* result, int count, char** values, char** names) {
    auto& response = *static_cast<Response*>(result);
    response.columns.assign(names, names + count);
    for (std::string& name : response.columns) {
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    }
    std::vector<std::string>& row = response.rows.emplace_back();
    std::transform(values, values + count, std::back_inserter(row),
                   [](const char* value) { return value == nullptr ? "" : value; });
    return 0;
}

}  // namespace

DatabaseService::DatabaseService(const std::string& sql, EventSink sink, int port)
    : sink_(std::move(sink)), server_([this](Connection& connection) { serve(connection); }) {
    sqlite3* opened = nullptr;
    sqlite3_open(":memory:", &opened);
    database_.reset(opened, sqlite3_close);
    query(sql);  // throws if the database is not open
    server_.listen_tcp("127.0.0.1", port);
}

Response DatabaseService::query(const std::string& sql) {
    const std::lock_guard<std::mutex> lock(mutex_);
    sqlite3* const database = database_.get();
    Response response;
    if (sqlite3_exec(database, sql.c_str(), add_row, &response, nullptr) != SQLITE_OK) {
        throw std::runtime_error(std::string("SQL: ") + sqlite3_errmsg(database));
    }
    response.last_inserted_id = static_cast<std::int32_t>(sqlite3_last_insert_rowid(database));
    return response;
}

void DatabaseService::hide_column(const std::string& name) {
    server_.inject_fault(changed([name](const std::string& answer) {
        Response response = dbmanager_format::parse_response(answer.substr(answer.find('\n') + 1));
        std::vector<std::string>& columns = response.columns;
        const auto hidden = std::find(columns.begin(), columns.end(), name);
        if (hidden != columns.end()) {
            const auto at = hidden - columns.begin();
            columns.erase(hidden);
            for (auto& row : response.rows) {
                row.erase(row.begin() + at);
            }
        }
        return compose_response(response);
    }));
}

const DatabaseService::Table& DatabaseService::faults() {
    static const Table kFaults = {
        {"cut", listener_fault(&SocketServer::refuse)},
        {"silent", silence()},
        {"half", changed([](const auto& answer) { return answer.substr(0, answer.size() / 2); })},
        {"slow", slowness(kSlowPause)},
        {"error", send_instead(compose_response(kRefusal))},
        {"garbage", send_instead("\x01\xff not an answer \x80\n\n")},
    };
    return kFaults;
}

void DatabaseService::serve(Connection& connection) {
    const std::string text = connection.read_until(
        [](const std::string& so_far) { return parse_request(so_far).has_value(); }, kRequestLimit);
    const auto request = parse_request(text);
    if (!request) {
        return;
    }
    sink_({EventKind::daemon_to_database, request->statement});
    const Fault fault = server_.take_fault();
    Response response;
    try {
        response = fault.is_carried_out ? query(request->statement) : response;
    } catch (const std::runtime_error&) {
        response = kRefusal;
    }
    fault.send(connection, compose_response(response));
    connection.finish();
}

}  // namespace simulator
