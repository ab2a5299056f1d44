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
constexpr std::size_t kLengthDigits = 9;  // the changed length has as many digits as the true one

struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

std::string upper_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// Adds `change` to the announced length.
std::string announce_differently(const std::string& answer, int change) {
    const std::size_t colon = answer.find(": ");
    const std::size_t end = answer.find('\n');
    const std::string digits = answer.substr(colon + 2, end - colon - 2);
    std::string number = std::to_string(std::stoi(digits) + change);
    number.insert(0, kLengthDigits - std::min(kLengthDigits, number.size()), '0');
    return answer.substr(0, colon + 2) + number + answer.substr(end);
}

Response query(sqlite3* database, const std::string& sql) {
    Response response;
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database, sql.c_str(), -1, &prepared, nullptr) != SQLITE_OK) {
        throw std::runtime_error(std::string("SQL: ") + sqlite3_errmsg(database));
    }
    const Statement statement(prepared);
    const int columns = sqlite3_column_count(prepared);
    for (int i = 0; i < columns; ++i) {
        response.columns.push_back(upper_case(sqlite3_column_name(prepared, i)));
    }
    int step = 0;
    while ((step = sqlite3_step(prepared)) == SQLITE_ROW) {
        std::vector<std::string> row;
        for (int i = 0; i < columns; ++i) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(prepared, i));
            row.emplace_back(text == nullptr ? "" : text);
        }
        response.rows.push_back(std::move(row));
    }
    if (step != SQLITE_DONE) {
        throw std::runtime_error(std::string("SQL: ") + sqlite3_errmsg(database));
    }
    response.last_inserted_id = static_cast<std::int32_t>(sqlite3_last_insert_rowid(database));
    return response;
}

}  // namespace

void DatabaseService::CloseDatabase::operator()(sqlite3* database) const {
    sqlite3_close(database);
}

DatabaseService::DatabaseService(const std::string& sql, EventSink sink, int port)
    : sink_(std::move(sink)), server_([this](Connection& connection) { serve(connection); }) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(":memory:", &opened);
    database_.reset(opened);
    if (result != SQLITE_OK ||
        sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(std::string("SQL: ") + sqlite3_errmsg(opened));
    }
    server_.listen_tcp("127.0.0.1", port);
}

DatabaseService::~DatabaseService() {
    server_.stop();
}

std::vector<std::vector<std::string>> DatabaseService::rows(const std::string& sql) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return query(database_.get(), sql).rows;
}

void DatabaseService::hide_column(const std::string& name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    hidden_column_ = name;
}

void DatabaseService::recover() {
    fault_ = Fault::none;
    hide_column("");
    server_.accept_again();
}

Response DatabaseService::run(const std::string& statement) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Response response;
    try {
        response = query(database_.get(), statement);
    } catch (const std::exception&) {
        response.status = "FSMC-013";
    }
    const auto hidden = std::find(response.columns.begin(), response.columns.end(), hidden_column_);
    if (hidden != response.columns.end()) {
        const auto at = hidden - response.columns.begin();
        response.columns.erase(hidden);
        for (auto& row : response.rows) {
            row.erase(row.begin() + at);
        }
    }
    return response;
}

void DatabaseService::spoil_rows(Response& response) const {
    if (fault_ == Fault::error_status) {
        response = {"FSMC-013", 0, {}, {}};
    }
    for (auto& row : response.rows) {
        if (fault_ == Fault::rows_too_short && !row.empty()) {
            row.pop_back();
        } else if (fault_ == Fault::rows_too_long) {
            row.insert(row.end(), {"surplus", "surplus"});
        }
    }
}

void DatabaseService::serve(Connection& connection) {
    const std::string text = connection.read_until(
        [](const std::string& so_far) { return parse_request(so_far).has_value(); }, kRequestLimit);
    const auto request = parse_request(text);
    if (!request) {
        return;
    }
    if (sink_) {
        sink_(EventKind::daemon_to_database, request->statement);
    }
    Response response = run(request->statement);
    spoil_rows(response);
    const std::string answer = compose_response(response);
    const Fault fault = fault_;
    switch (fault) {
        case Fault::silent:
            connection.hold([this] { return fault_ == Fault::none; });
            return;
        case Fault::closes_early:
            connection.write(answer.substr(0, answer.size() / 2));
            break;
        case Fault::announces_too_much:
            connection.write(announce_differently(answer, 10));
            break;
        case Fault::announces_too_little:
            connection.write(announce_differently(answer, -10));
            break;
        case Fault::slow:
            connection.write_slowly(answer, kSlowPause);
            break;
        case Fault::garbage:
            connection.write("\x01\xff not an answer \x80\n\n");
            break;
        default:
            connection.write(answer);
    }
    connection.finish();
}

}  // namespace simulator
