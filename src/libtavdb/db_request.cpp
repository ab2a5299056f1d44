#include "libtavdb/db_request.h"

#include <algorithm>
#include <utility>

#include <strings.h>

#include "libcbase/DBManagerutil.h"

namespace libtavdb {
namespace {

constexpr const char* kFunction = "DML-SQL";
constexpr std::size_t kTypeNameBytes = 6;
constexpr int kHighestPort = 65535;

constexpr struct {
    int code;
    const char* name;  // kTypeNameBytes long, each
} kQueryTypes[] = {
    {db_request::QUERY_INSERT, "INSERT"},
    {db_request::QUERY_DELETE, "DELETE"},
    {db_request::QUERY_UPDATE, "UPDATE"},
    {db_request::QUERY_SELECT, "SELECT"},
};

const char* type_name(int code) {
    for (const auto& type : kQueryTypes) {
        if (type.code == code) {
            return type.name;
        }
    }
    return nullptr;
}

}  // namespace

db_request::db_request(int port, const char* query) {
    if (port < 1 || port > kHighestPort) {
        set_last_error("db_request::db_request error database service port <" +
                       std::to_string(port) + "> is not valid");
        return;
    }
    if (query == nullptr) {
        set_last_error("db_request::db_request error query is NULL");
        return;
    }
    if (validate_query(query, &query_type_) != 0) {
        const std::string nested = last_error_;
        set_last_error(std::string("db_request::db_request error cannot validate <") + query +
                       "> as SQL query, nested error is <" + nested + ">");
        return;
    }
    exchange(port, query);
}

int db_request::validate_query(const std::string& query, int* type) {
    if (query.empty()) {
        set_last_error("db_request::validate_query error query is NULL");
        return -1;
    }
    for (const auto& known : kQueryTypes) {
        if (strncasecmp(query.c_str(), known.name, kTypeNameBytes) == 0) {
            *type = known.code;
            return 0;
        }
    }
    set_last_error("db_request::validate_query error query <" + query +
                   "> is not in recognizable format");
    return -1;
}

void db_request::split(const std::string& text, const std::string& separator,
                       std::vector<std::string>& out) {
    for (std::string& part : dbmanager_format::split(text, separator)) {
        out.push_back(std::move(part));
    }
}

void db_request::exchange(int port, const std::string& query) {
    const char* const type = type_name(query_type_);
    if (type == nullptr) {
        set_last_error("db_request::db_request error unrecognized type of query <" +
                       std::to_string(query_type_) +
                       "> between supported INSERT, DELETE, UPDATE, SELECT");
        return;
    }
    dbmanager_answer answer;
    result_ =
        dbmanager_exchange(port, {kFunction, type, std::to_string(query.size()), query}, answer);
    if (result_ != DBMANAGER_OK) {
        set_last_error("db_request::db_request error calling dbmanager_socket_request <" +
                       std::to_string(result_) + ">");
        return;
    }
    keep_answer(answer.body);
}

void db_request::keep_answer(const std::string& body) {
    const dbmanager_format::Response response = dbmanager_format::parse_response(body);
    last_insert_id_ = response.last_inserted_id;
    fields_num_ = static_cast<int>(response.columns.size());
    for (const std::vector<std::string>& values : response.rows) {
        std::map<std::string, std::string>& row = rows[get_rows_num() + 1];
        const std::size_t count = std::min(values.size(), response.columns.size());
        for (std::size_t i = 0; i < count; ++i) {
            row[response.columns[i]] = values[i];
        }
    }
}

}  // namespace libtavdb
