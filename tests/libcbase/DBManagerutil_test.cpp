#include "libcbase/DBManagerutil.h"

#include <chrono>
#include <cstring>
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
constexpr const char* kStatement = "SELECT 1";
const std::string kLabel = "Response payload length: ";
const std::string kCall = "DBManagerutil->dbmanager_socket_request ";

class DatabaseTest : public SystemLogTest {
  protected:
    // Result, status and length of the body; or the local result and the last line of the log.
    std::string send_request(const char* function = "DML-SQL", const char* type = "SELECT",
                             const char* statement = kStatement) {
        log_.clear();
        const std::string length =
            statement != nullptr ? std::to_string(std::strlen(statement)) : "";
        char* outputs[4];
        const int result = dbmanager_socket_request(
            service_.port(), function, type, statement != nullptr ? length.c_str() : nullptr,
            statement, &outputs[0], &outputs[1], &outputs[2], &outputs[3]);
        const xstring first_line(outputs[0]), status(outputs[1]), size(outputs[2]),
            body(outputs[3]);
        log_.sync();
        if (!log_.lines().empty()) {
            EXPECT_TRUE(first_line == nullptr && status == nullptr && size == nullptr &&
                        body == nullptr);
            const std::string line = log_.lines().back().text;
            EXPECT_EQ(line.substr(0, kCall.size()), kCall);
            return std::to_string(result) + " " +
                   line.substr(kCall.size(), line.rfind(" for function DML-SQL") - kCall.size());
        }
        first_line_ = first_line.get();
        body_ = body.get();
        EXPECT_EQ(std::to_string(body_.size()), size.get());
        return std::to_string(result) + " " + status.get() + " " + size.get();
    }
    std::string request_and_answer(const std::string& answer, const std::string& rest = {}) {
        service_.set_answer(answer, rest);
        return send_request();
    }

    std::string first_line_, body_;
    ScriptedPeer service_;
};

TEST_F(DatabaseTest, ReadsAnAnswer) {
    for_each_vector(kVectors, "answers", 3, [this](const Texts& cells) {
        const std::string& answer = cells[0];
        EXPECT_EQ(request_and_answer(answer), cells[1]);
        EXPECT_EQ(
            service_.last_request(),
            "Request: DML-SQL\nType: SELECT\nStatement payload length: 8\nStatement: SELECT 1\n\n");
        if (cells[1].front() != '3') {
            EXPECT_EQ(first_line_, answer.substr(0, answer.find('\n')));
            EXPECT_EQ(body_, answer.substr(answer.size() - body_.size()));
        }
    });
    EXPECT_EQ(request_and_answer("Response pay", "load length: 19\nResponse: FSMC-000\n"),
              "0 FSMC-000 19");
    service_.set_answer(kLabel + "46\nResponse: FSMC-000\nLastInsertedID: 2147483648\n");
    EXPECT_EQ(send_request("DML-SQL", "insert"),
              "311 recv reading response failed with error 'Numerical result out of range'");
}

TEST_F(DatabaseTest, CollectsABodyOfManyChunksAfterAFirstLineOfOne) {
    const std::string body = "Response: FSMC-000\n" + std::string(262144 - 19, 'x');
    EXPECT_EQ(request_and_answer(kLabel + "262144\n" + body), "0 FSMC-000 262144");
    EXPECT_EQ(body_, body);
    // Too long, although the second chunk contains its end.
    const std::string zeroes(1000, '0');
    EXPECT_EQ(request_and_answer(kLabel + zeroes.substr(30), zeroes + "19\nResponse: FSMC-000\n"),
              "311 strtok parsing 'Response payload length: ' response tag failed");
}

TEST_F(DatabaseTest, EndsWhenTheServiceSendsSlowlyOrIsAbsent) {
    service_.on_request([](auto& peer) {
        peer.write_slowly(std::string(60, 'R'), std::chrono::milliseconds(250));
    });
    const auto start = Clock::now();
    EXPECT_EQ(send_request(), "311 recv reading response failed with error 'Connection timed out'");
    const auto limit = std::chrono::seconds(DBMANAGER_EXCHANGE_SECONDS);
    EXPECT_GE(Clock::now() - start, limit - std::chrono::milliseconds(1));
    EXPECT_LT(Clock::now() - start, limit + std::chrono::seconds(3));
    service_.stop();
    EXPECT_EQ(send_request(), "308 error opening socket DBManager clientside");
}

TEST_F(DatabaseTest, RefusesABadRequestBeforeSending) {
    service_.set_answer(kLabel + "0\n");
    EXPECT_EQ(send_request("DML", "SELECT"), "309 error function DML not supported");
    EXPECT_EQ(send_request("DML-SQL", "VACUUM"), "309 error type VACUUM not supported");
    EXPECT_EQ(send_request(nullptr), "309 error function  not supported");
    EXPECT_EQ(send_request("DML-SQL", nullptr), "309 error type  not supported");
    // All except the statement, when its length has five digits.
    const std::size_t frame =
        dbmanager_format::compose_request({"DML-SQL", "SELECT", "12345", ""}).size();
    const std::string longest(dbmanager_format::kRequestBufferBytes - 1 - frame, 's');
    EXPECT_EQ(send_request("DML-SQL", "SELECT", (longest + "s").c_str()),
              "310 send writing request failed with error 'Message too long'");
    EXPECT_TRUE(service_.requests().empty());
    EXPECT_EQ(send_request("dml-sql", "select", longest.c_str()), "8 FSMC-008 0");
    EXPECT_EQ(service_.last_request().size(), dbmanager_format::kRequestBufferBytes - 1);
    EXPECT_EQ(send_request("DDL-SQL", "TRANSACTION", nullptr), "8 FSMC-008 0");
    EXPECT_EQ(service_.last_request(),
              "Request: DDL-SQL\nType: TRANSACTION\nStatement payload length: \nStatement: \n\n");
}

TEST(DatabaseFormat, ReadsARequestByTheLengthOfItsStatement) {
    for_each_vector(kVectors, "requests", 3, [](const Texts& cells) {
        const auto request = simulator::parse_request(cells[0]);
        EXPECT_EQ(request ? request->statement : "refused", cells[1]);
        EXPECT_TRUE(!request || compose_request(*request) == cells[0]);
    });
}

TEST(DatabaseFormat, ReadsABody) {
    const auto in_brackets = [](const Texts& values) {
        std::string text = values.empty() ? "" : " ";
        for (const std::string& value : values) {
            text.append("(").append(value).append(")");
        }
        return text;
    };
    std::string example;
    for_each_vector(kVectors, "bodies", 3, [&](const Texts& cells) {
        const auto response = dbmanager_format::parse_response(cells[0]);
        std::string text = response.status + " " + std::to_string(response.last_inserted_id) +
                           in_brackets(response.columns);
        for (const Texts& row : response.rows) {
            text += in_brackets(row);
        }
        EXPECT_EQ(text, cells[1]);
        if (example.empty()) {
            example = cells[0];
            EXPECT_EQ(simulator::compose_response(response), kLabel + "141\n" + example);
        }
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
