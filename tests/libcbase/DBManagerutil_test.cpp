#include "libcbase/DBManagerutil.h"

#include <chrono>
#include <string>
#include <vector>

#include "libcbase/memory.h"
#include "simulator/database/DatabaseFormat.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/SystemLogTest.h"
#include "tests/support/Vectors.h"

namespace {

using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

constexpr const char* kVectors = "libcbase/dbmanager.txt";
const std::string kLabel = "Response payload length: ";

class DatabaseTest : public SystemLogTest {
  protected:
    // Result, status and length of the body; or the local result and the last line of the log.
    std::string exchange(const std::string& function = "DML-SQL",
                         const std::string& type = "SELECT",
                         const std::string& statement = "SELECT 1") {
        log_.clear();
        answer_ = {};
        const int result = dbmanager_exchange(
            service_.port(), {function, type, std::to_string(statement.size()), statement},
            answer_);
        const std::string line = last_line_after("DBManagerutil->dbmanager_socket_request ");
        std::string text = answer_.status + " " + std::to_string(answer_.body.size());
        if (!line.empty()) {
            EXPECT_EQ(answer_.first_line + text, " 0");
            text = line.substr(0, line.rfind(" for function DML-SQL"));
        }
        return std::to_string(result) + " " + text;
    }
    std::string exchange_answer(const std::string& answer) {
        service_.set_answer(answer);
        return exchange();
    }

    dbmanager_answer answer_;
    ScriptedPeer service_;
};

TEST_F(DatabaseTest, ReadsAnAnswer) {
    for_each_vector(kVectors, "answers", 3, [this](const Texts& cells) {
        const std::string& answer = cells[0];
        EXPECT_EQ(exchange_answer(answer), cells[1]);
        if (!answer_.status.empty()) {
            EXPECT_EQ(answer_.first_line, answer.substr(0, answer.find('\n')));
            EXPECT_EQ(answer_.body, answer.substr(answer.size() - answer_.body.size()));
        }
    });
    service_.set_answer(kLabel + "46\nResponse: FSMC-000\nLastInsertedID: 2147483648\n");
    EXPECT_EQ(exchange("DML-SQL", "insert"),
              "311 recv reading response failed with error 'Numerical result out of range'");
}

TEST_F(DatabaseTest, TakesNullsAndReturnsHeapStringsInCStyle) {
    service_.set_answer(kLabel + "19\nResponse: FSMC-013\n");
    char* texts[4];
    EXPECT_EQ(dbmanager_socket_request(service_.port(), "DDL-SQL", "TRANSACTION", nullptr, nullptr,
                                       &texts[0], &texts[1], &texts[2], &texts[3]),
              13);
    EXPECT_EQ(service_.last_request(),
              "Request: DDL-SQL\nType: TRANSACTION\nStatement payload length: \nStatement: \n\n");
    const char* const expected[] = {"Response payload length: 19", "FSMC-013", "19",
                                    "Response: FSMC-013\n"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(xstring(texts[i]).get(), expected[i]);
    }
    EXPECT_EQ(dbmanager_socket_request(service_.port(), "DDL-SQL", nullptr, "", "", nullptr,
                                       nullptr, nullptr, &texts[3]),
              DBMANAGER_UNSUPPORTED);
    EXPECT_EQ(texts[3], nullptr);
}

TEST_F(DatabaseTest, EndsWhenTheServiceSendsSlowlyOrIsAbsent) {
    service_.on_request([](auto& peer) {
        peer.write_slowly(std::string(60, 'R'), std::chrono::milliseconds(250));
    });
    const auto start = Clock::now();
    EXPECT_EQ(exchange(), "311 recv reading response failed with error 'Connection timed out'");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(DBMANAGER_EXCHANGE_SECONDS + 3));
    service_.stop();
    EXPECT_EQ(exchange(), "308 error opening socket DBManager clientside");
}

TEST_F(DatabaseTest, RefusesABadRequestBeforeSending) {
    service_.set_answer(kLabel + "0\n");
    EXPECT_EQ(exchange("DML", "SELECT"), "309 error function DML not supported");
    EXPECT_EQ(exchange("DML-SQL", "VACUUM"), "309 error type VACUUM not supported");
    // All except the statement, when its length has five digits.
    const std::size_t frame =
        dbmanager_format::compose_request({"DML-SQL", "SELECT", "12345", ""}).size();
    const std::string longest(dbmanager_format::kRequestBufferBytes - 1 - frame, 's');
    EXPECT_EQ(exchange("DML-SQL", "SELECT", longest + "s"),
              "310 send writing request failed with error 'Message too long'");
    EXPECT_TRUE(service_.requests().empty());
    EXPECT_EQ(exchange("dml-sql", "select", longest), "8 FSMC-008 0");
    EXPECT_EQ(service_.last_request().size(), dbmanager_format::kRequestBufferBytes - 1);
}

TEST(DatabaseFormat, ReadsARequestByTheLengthOfItsStatement) {
    for_each_vector(kVectors, "requests", 3, [](const Texts& cells) {
        const auto request = simulator::parse_request(cells[0]);
        EXPECT_EQ(request ? request->statement : "refused", cells[1]);
        EXPECT_TRUE(!request || compose_request(*request) == cells[0]);
    });
}

TEST(DatabaseFormat, ReadsABody) {
    for_each_vector(kVectors, "bodies", 3, [](const Texts& cells) {
        const auto response = dbmanager_format::parse_response(cells[0]);
        std::string text = response.status + " " + std::to_string(response.last_inserted_id) +
                           in_brackets(response.columns);
        for (const Texts& row : response.rows) {
            text += in_brackets(row);
        }
        EXPECT_EQ(text, cells[1]);
    });
    EXPECT_EQ(dbmanager_format::split("a--b-c", "--"), (Texts{"a", "b-c"}));
    EXPECT_EQ(dbmanager_format::split("abc", ""), (Texts{"abc"}));
}

TEST(QueryResults, StartWithoutACountAndOwnTheirTexts) {
    queryresults* const record = queryresultsinit();
    EXPECT_TRUE(record->first == nullptr && record->count == -1 && record->second == nullptr);
    record->first = xstrcpy(nullptr, "one");
    record->second = xstrcpy(nullptr, "two");
    EXPECT_EQ(queryresultsfree(record), 0);  // the leak sanitizer finds a text that is not released
    EXPECT_EQ(queryresultsfree(nullptr), -1);
}

}  // namespace
