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

std::string upper_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

[[noreturn]] void fail(sqlite3* database) {
    throw std::runtime_error(std::string("SQL: ") + sqlite3_errmsg(database));
}

int add_row(void* result, int count, char** values, char** names) {
    auto& response = *static_cast<Response*>(result);
    response.columns.clear();
    std::vector<std::string>& row = response.rows.emplace_back();
    for (int i = 0; i < count; ++i) {
        response.columns.push_back(upper_case(names[i]));
        row.emplace_back(values[i] == nullptr ? "" : values[i]);
    }
    return 0;
}

Response query(sqlite3* database, const std::string& sql) {
    Response response;
    if (sqlite3_exec(database, sql.c_str(), add_row, &response, nullptr) != SQLITE_OK) {
        fail(database);
    }
    response.last_inserted_id = static_cast<std::int32_t>(sqlite3_last_insert_rowid(database));
    return response;
}

// Adds `change` to the announced length, whatever the number of digits.
std::string announce(std::string answer, int change) {
    const std::size_t digits = answer.find(": ") + 2;
    const std::size_t count = answer.find('\n') - digits;
    std::string number = std::to_string(std::stoi(answer.substr(digits, count)) + change);
    return answer.replace(digits, count, number);
}

Fault changed(std::string (*change)(const std::string& answer)) {
    return {[change](Connection& peer, const std::string& a) { peer.write(change(a)); }};
}

Fault changed_rows(void (*change)(std::vector<std::string>& row)) {
    return {[change](Connection& peer, const std::string& answer) {
        Response response = dbmanager_format::parse_response(answer.substr(answer.find('\n') + 1));
        std::for_each(response.rows.begin(), response.rows.end(), change);
        peer.write(compose_response(response));
    }};
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
    if (result != SQLITE_OK) {
        fail(opened);
    }
    query(opened, sql);
    server_.listen_tcp("127.0.0.1", port);
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
    hide_column("");
    server_.recover();
}

const DatabaseService::Table& DatabaseService::faults() {
    using Text = std::string;
    using Values = std::vector<std::string>;
    static const Table kFaults = {
        {"cut", [](DatabaseService& service, int) { service.server_.refuse(); }},
        {"silent", silence()},
        {"half", changed([](const Text& answer) { return answer.substr(0, answer.size() / 2); })},
        {"long", changed([](const Text& answer) { return announce(answer, 10); })},
        {"short", changed([](const Text& answer) { return announce(answer, -10); })},
        {"slow", slowness(kSlowPause)},
        {"short-rows", changed_rows([](Values& row) { row.pop_back(); })},
        {"long-rows", changed_rows([](Values& row) { row.insert(row.end(), 2, "surplus"); })},
        {"error", send_instead(compose_response({"FSMC-013", 0, {}, {}}))},
        {"garbage", send_instead("\x01\xff not an answer \x80\n\n")},
    };
    return kFaults;
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

void DatabaseService::serve(Connection& connection) {
    const std::string text = connection.read_until(
        [](const std::string& so_far) { return parse_request(so_far).has_value(); }, kRequestLimit);
    const auto request = parse_request(text);
    if (!request) {
        return;
    }
    sink_({EventKind::daemon_to_database, request->statement});
    const Fault fault = server_.take_fault();
    fault.send(connection, fault.is_carried_out ? compose_response(run(request->statement)) : "");
    connection.finish();
}

}  // namespace simulator
