#include "libtavdb/db_request.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/database/DatabaseService.h"

namespace {

using libtavdb::db_request;
using simulator::DatabaseService;
using Row = std::map<std::string, std::string>;

constexpr const char* kTables = R"(
    CREATE TABLE vexad_object (id INTEGER PRIMARY KEY, msp TEXT, optionalp TEXT);
    INSERT INTO vexad_object VALUES (12, 'lamp', 'username=''lumi'''), (15, 'dim', NULL);
)";
constexpr const char* kSelect = "select id, msp, optionalp from vexad_object order by id";

class DbRequestTest : public testing::Test {
  protected:
    db_request send_query(const char* query) const { return db_request(service_.port(), query); }
    std::string error_of(int port, const char* query) const {
        const db_request request(port, query);
        EXPECT_EQ(request.get_rows_num(), 0);
        EXPECT_EQ(request.get_fields_num(), 0);
        return request.get_last_error();
    }

    DatabaseService service_{kTables, {}, 0};
};

TEST_F(DbRequestTest, ReadsRowsByColumnNameInUpperCase) {
    const db_request request = send_query(kSelect);
    EXPECT_STREQ(request.get_last_error(), "");
    EXPECT_EQ(request.get_fields_num(), 3);
    ASSERT_EQ(request.get_rows_num(), 2);
    EXPECT_EQ(request.rows.at(1),
              (Row{{"ID", "12"}, {"MSP", "lamp"}, {"OPTIONALP", "username='lumi'"}}));
    EXPECT_EQ(request.rows.at(2), (Row{{"ID", "15"}, {"MSP", "dim"}, {"OPTIONALP", ""}}));
}

TEST_F(DbRequestTest, ChangesTheDatabase) {
    EXPECT_EQ(
        send_query("Insert INTO vexad_object (id, msp) VALUES (77, 'new')").get_last_insert_id(),
        77);
    EXPECT_STREQ(send_query("UPDATE vexad_object SET msp = 'x' WHERE id = 12").get_last_error(),
                 "");
    EXPECT_STREQ(send_query("delete FROM vexad_object WHERE id = 15").get_last_error(), "");
    EXPECT_EQ(service_.rows("SELECT id, msp FROM vexad_object"),
              (std::vector<std::vector<std::string>>{{"12", "x"}, {"77", "new"}}));
    const db_request none = send_query("SELECT id FROM vexad_object WHERE id = 1");
    EXPECT_STREQ(none.get_last_error(), "");
    EXPECT_EQ(none.get_rows_num(), 0);
}

TEST_F(DbRequestTest, ReportsWhyARequestIsRefused) {
    const int port = service_.port();
    for (const int wrong : {0, -45168, 65536}) {
        const std::string error = error_of(wrong, kSelect);
        EXPECT_EQ(error.find("db_request::db_request error database service port <" +
                             std::to_string(wrong)),
                  0u);
    }
    EXPECT_EQ(error_of(port, nullptr), "db_request::db_request error query is NULL");
    const std::string start = "db_request::db_request error cannot validate <";
    const std::string nested = "> as SQL query, nested error is <db_request::validate_query error ";
    EXPECT_EQ(error_of(port, ""), start + nested + "query is NULL>");
    for (const char* query : {"SELEC", " SELECT 1"}) {
        EXPECT_EQ(error_of(port, query),
                  start + query + nested + "query <" + query + "> is not in recognizable format>");
    }
    EXPECT_EQ(service_.connections(), 0);
}

TEST_F(DbRequestTest, ReportsAServiceThatFails) {
    const std::string problem = "db_request::db_request error calling dbmanager_socket_request ";
    service_.inject_fault("error");
    EXPECT_EQ(error_of(service_.port(), kSelect), problem + "<13>");
    for (const char* fault : {"half", "long", "garbage"}) {
        service_.inject_fault(fault);
        EXPECT_EQ(error_of(service_.port(), kSelect), problem + "<311>");
    }
    service_.inject_fault("cut");
    EXPECT_EQ(error_of(service_.port(), kSelect), problem + "<308>");
    service_.recover();
    EXPECT_EQ(send_query(kSelect).get_rows_num(), 2);
}

TEST_F(DbRequestTest, ReadsRowsThatAreTooShortTooLongOrLackAColumn) {
    service_.inject_fault("short-rows");
    EXPECT_EQ(send_query(kSelect).rows.at(1), (Row{{"ID", "12"}, {"MSP", "lamp"}}));
    service_.inject_fault("long-rows");
    EXPECT_EQ(send_query(kSelect).rows.at(2),
              (Row{{"ID", "15"}, {"MSP", "dim"}, {"OPTIONALP", ""}}));
    service_.inject_fault("short");
    EXPECT_EQ(send_query(kSelect).get_rows_num(), 2);
    service_.recover();
    service_.hide_column("MSP");
    EXPECT_EQ(send_query(kSelect).rows.at(1),
              (Row{{"ID", "12"}, {"OPTIONALP", "username='lumi'"}}));
}

}  // namespace
