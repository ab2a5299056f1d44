#include "libtavdb/db_request.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/database/DatabaseService.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/Vectors.h"

namespace {

using libtavdb::db_request;
using Texts = std::vector<std::string>;

// As in the vectors.
std::string outcome(int port, const char* query) {
    const db_request request(port, query);
    const std::string error = request.get_last_error();
    if (!error.empty()) {
        EXPECT_EQ(request.get_rows_num() + request.get_fields_num(), 0);
        const std::string start = "db_request::db_request error ";
        EXPECT_EQ(error.substr(0, start.size()), start);
        return error.substr(start.size());
    }
    std::string text = std::to_string(request.get_fields_num()) + " fields, ID " +
                       std::to_string(request.get_last_insert_id());
    for (int i = 1; i <= request.get_rows_num(); ++i) {
        text += ",";
        for (const auto& [column, value] : request.rows.at(i)) {
            text.append(" ").append(column).append("=").append(value);
        }
    }
    return text;
}

TEST(DbRequest, ReadsRowsByColumnNameInUpperCase) {
    ScriptedPeer service;
    for_each_vector("libtavdb/db_request.txt", "answers", 3, [&](const Texts& cells) {
        service.set_answer("Response payload length: " + std::to_string(cells[0].size()) + "\n" +
                           cells[0]);
        EXPECT_EQ(outcome(service.port(), "SELECT 1"), cells[1]);
    });
    service.stop();
    EXPECT_EQ(outcome(service.port(), "SELECT 1"), "calling dbmanager_socket_request <308>");
}

TEST(DbRequest, ChangesTheDatabase) {
    simulator::DatabaseService service("CREATE TABLE t (id INTEGER PRIMARY KEY, msp TEXT)",
                                       simulator::ignore_event, 0);
    const int port = service.port();
    EXPECT_EQ(outcome(port, "Insert INTO t (id, msp) VALUES (77, 'new')"), "0 fields, ID 77");
    EXPECT_EQ(outcome(port, "INSERT INTO t VALUES (78, 'old')"), "0 fields, ID 78");
    EXPECT_EQ(outcome(port, "UPDATE t SET msp = 'x' WHERE id = 77"), "0 fields, ID 78");
    EXPECT_EQ(outcome(port, "delete FROM t WHERE id = 78"), "0 fields, ID 78");
    EXPECT_EQ(outcome(port, "SELECT * FROM t"), "2 fields, ID 78, ID=77 MSP=x");
}

TEST(DbRequest, ReportsWhyAQueryIsRefused) {
    const ScriptedPeer service;
    for (const int port : {0, -45168, 65536}) {
        EXPECT_EQ(outcome(port, "SELECT 1"),
                  "database service port <" + std::to_string(port) + "> is not valid");
    }
    EXPECT_EQ(outcome(service.port(), nullptr), "query is NULL");
    const std::string nested =
        "> as SQL query, nested error is <db_request::validate_query error query ";
    EXPECT_EQ(outcome(service.port(), ""), "cannot validate <" + nested + "is NULL>");
    for (const std::string query : {"SELEC", " SELECT 1"}) {
        EXPECT_EQ(outcome(service.port(), query.c_str()), "cannot validate <" + query + nested +
                                                              "<" + query +
                                                              "> is not in recognizable format>");
    }
    EXPECT_TRUE(service.requests().empty());
}

}  // namespace
