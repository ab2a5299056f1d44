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
constexpr std::chrono::milliseconds kSlowPause{2};

struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

std::string upper_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
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

// Adds `change` to the announced length.
std::string announce(const std::string& answer, int change) {
    const std::size_t colon = answer.find(": ");
    const std::size_t end = answer.find('\n');
    const std::string digits = answer.substr(colon + 2, end - colon - 2);
    std::string number = std::to_string(std::stoi(digits) + change);
    number.insert(0, kLengthDigits - std::min(kLengthDigits, number.size()), '0');
    return answer.substr(0, colon + 2) + number + answer.substr(end);
}

using ChangeAnswer = std::string (*)(const std::string& answer);
using ChangeRow = void (*)(std::vector<std::string>& row);

Fault changed_answer(const std::string& meaning, ChangeAnswer change) {
    return {meaning, true,
            [change](Connection& peer, const std::string& answer) { peer.write(change(answer)); }};
}

Fault changed_rows(const std::string& meaning, ChangeRow change) {
    return {meaning, true, [change](Connection& peer, const std::string& answer) {
                Response response =
                    dbmanager_format::parse_response(answer.substr(answer.find('\n') + 1));
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
    hide_column("");
    server_.recover();
}

const FaultTable<DatabaseService>& DatabaseService::faults() {
    const auto answers = [](const Fault& fault) {
        return [fault](DatabaseService& service, int times) {
            service.server_.inject_fault(fault, times);
        };
    };
    using Text = std::string;
    using Row = std::vector<std::string>;
    static const FaultTable<DatabaseService> kFaults = {
        {"cut", [](DatabaseService& service, int) { service.server_.refuse(); }},
        {"silent", answers(silence())},
        {"half", answers(changed_answer("closes in the middle of the answer",
                                        [](const Text& a) { return a.substr(0, a.size() / 2); }))},
        {"long", answers(changed_answer("announces more than it sends",
                                        [](const Text& a) { return announce(a, 10); }))},
        {"short", answers(changed_answer("announces less than it sends",
                                         [](const Text& a) { return announce(a, -10); }))},
        {"slow", answers(slowness(kSlowPause))},
        {"short-rows", answers(changed_rows("sends rows without their last value",
                                            [](Row& row) { row.pop_back(); }))},
        {"long-rows", answers(changed_rows("sends rows with two values too many",
                                           [](Row& row) { row.insert(row.end(), 2, "surplus"); }))},
        {"error", answers(send_instead(compose_response({"FSMC-013", 0, {}, {}})))},
        {"garbage", answers(send_instead("\x01\xff not an answer \x80\n\n"))},
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
    if (sink_) {
        sink_(EventKind::daemon_to_database, request->statement);
    }
    const Fault fault = server_.take_fault();
    fault.send(connection, fault.is_carried_out ? compose_response(run(request->statement)) : "");
    connection.finish();
}

}  // namespace simulator
