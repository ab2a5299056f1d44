#include "libcbase/DBManagerutil.h"

#include <chrono>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "libcbase/memory.h"
#include "simulator/database/DatabaseFormat.h"
#include "simulator/net/SocketServer.h"
#include "tests/support/SystemLogTest.h"

namespace {

using Clock = std::chrono::steady_clock;
using dbmanager_format::parse_response;
using simulator::compose_response;
using simulator::parse_request;
using Texts = std::vector<std::string>;

constexpr const char* kStatement = "SELECT optionalp FROM vexad_object WHERE id = 12";
// The worked example of docs/formats/dbmanager.md.
constexpr const char* kRequest =
    "Request: DML-SQL\nType: SELECT\nStatement payload length: 48\n"
    "Statement: SELECT optionalp FROM vexad_object WHERE id = 12\n\n";
const std::string kLabel = "Response payload length: ";
constexpr const char* kLengthLine = "Response payload length: 141";
constexpr const char* kBody =
    "Response: FSMC-000\nLastInsertedID: 0\nNextRows: 2\nRow000001: ID,OPTIONALP\n"
    "Row000002: 12,ip_address='127.0.0.1'|username='lumi'\n"
    "Row000003: 13,\n";

const std::string kCall = "DBManagerutil->dbmanager_socket_request ";

/// A service that answers each request with pieces of text, a short pause between them, and closes.
class DatabaseTest : public SystemLogTest {
  protected:
    DatabaseTest() { server_.listen_tcp("127.0.0.1", 0); }

    void set_answer(Texts pieces, std::chrono::milliseconds pause = std::chrono::milliseconds(5)) {
        const std::lock_guard<std::mutex> lock(mutex_);
        pieces_ = std::move(pieces);
        pause_ = pause;
    }
    /// The last request, as it arrived.
    std::string request() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return request_;
    }

    int send_request(const char* function = "DML-SQL", const char* type = "SELECT",
                     const char* statement = kStatement) {
        const std::string length = statement ? std::to_string(std::strlen(statement)) : "";
        char* outputs[4];
        const int result = dbmanager_socket_request(
            server_.port(), function, type, statement ? length.c_str() : nullptr, statement,
            &outputs[0], &outputs[1], &outputs[2], &outputs[3]);
        std::string* const copies[] = {&first_line_, &status_, &length_, &body_};
        for (int i = 0; i < 4; ++i) {
            const xstring owner(outputs[i]);
            *copies[i] = owner ? owner.get() : "(null)";
        }
        return result;
    }
    int request_and_answer(Texts pieces) {
        set_answer(std::move(pieces));
        return send_request();
    }

    std::string first_line_, status_, length_, body_;

  private:
    void serve(simulator::Connection& connection) {
        const auto is_whole = [](const std::string& text) {
            return text.size() >= 2 && text.compare(text.size() - 2, 2, "\n\n") == 0;
        };
        std::string request = connection.read_until(is_whole, std::chrono::seconds(5));
        std::unique_lock<std::mutex> lock(mutex_);
        request_ = std::move(request);
        const Texts pieces = pieces_;
        const auto pause = pause_;
        lock.unlock();
        for (auto piece = pieces.begin(); piece != pieces.end() && connection.write(*piece);
             ++piece) {
            std::this_thread::sleep_for(pause);
        }
        connection.finish();
    }

    mutable std::mutex mutex_;  // guards the three below
    std::string request_;
    Texts pieces_;
    std::chrono::milliseconds pause_{};

  protected:
    simulator::SocketServer server_{[this](simulator::Connection& c) { serve(c); }};
};

TEST_F(DatabaseTest, ExchangesTheWorkedExampleWhereverTheAnswerIsSplit) {
    const std::string answer = std::string(kLengthLine) + "\n\n" + kBody;
    // In the first line, right after it, and inside the status label, which follows an empty line.
    for (const std::size_t cut :
         {std::size_t{10}, answer.find('\n') + 1, answer.find("ponse: F")}) {
        EXPECT_EQ(request_and_answer({answer.substr(0, cut), answer.substr(cut)}), DBMANAGER_OK)
            << cut;
        EXPECT_EQ(request(), kRequest);
        EXPECT_EQ(first_line_, kLengthLine);
        EXPECT_EQ(status_, "FSMC-000");
        EXPECT_EQ(length_, "141");
        EXPECT_EQ(body_, kBody);
    }
}

TEST_F(DatabaseTest, CollectsABodyOfManyChunksAndKeepsBytesAfterItsEnd) {
    const std::string body = "Response: FSMC-000\n" + std::string(262144 - 19, 'x');
    EXPECT_EQ(request_and_answer({"response PAYLOAD length: 262144\n\n" + body}), DBMANAGER_OK);
    EXPECT_EQ(body_, body);
    EXPECT_EQ(request_and_answer({"Response payload length: 19\nResponse: FSMC-000\nmore"}),
              DBMANAGER_OK);
    EXPECT_EQ(length_, "23");
}

TEST_F(DatabaseTest, ReturnsTheSameResultWhereverTheAnswerIsSplit) {
    const std::string status = "Response: FSMC-000\n";
    const struct {
        std::string answer;
        int result;
    } cases[] = {
        // The status begins within the announced bytes, ends outside them, is searched only there.
        {kLabel + "19\n123456789" + status, DBMANAGER_OK},
        {kLabel + "19\n1234567890" + status, 8},
        {kLabel + "18\n" + status, 8},
        {kLabel + "4\n" + status, 8},
        {kLabel + "0\n" + status, 8},
    };
    for (const auto& c : cases) {
        const std::size_t body = c.answer.find('\n') + 1;
        for (std::size_t cut = body; cut <= c.answer.size(); cut += 3) {
            EXPECT_EQ(request_and_answer({c.answer.substr(0, cut), c.answer.substr(cut)}), c.result)
                << c.answer << cut;
            EXPECT_EQ(status_, c.result == DBMANAGER_OK ? "FSMC-000" : "FSMC-008");
        }
    }
    EXPECT_EQ(request_and_answer({kLabel + "20\n123456789" + status}), DBMANAGER_RECEIVE_FAILED)
        << "from the status on, the body is a byte short";
}

TEST_F(DatabaseTest, ReturnsTheNumberOfTheStatus) {
    const struct {
        std::string body, status;
        int result;
    } cases[] = {
        {"Response: FSMC-013\n", "FSMC-013", 13},
        {"Response: FSMC-000 done\n", "FSMC-000 done", 0},
        {"Response: fsmc-013\n", "fsmc-013", 13},
        {"Response: DB:: 000\n", "DB:: 000", 0},
        {"Response: 000000042\n", "000000042", 42},
        {"Response: FSMC-\n", "FSMC-", 8},
        {"LastInsertedID: 0\n", "FSMC-008", 8},
        {"Response: FSMC-000", "FSMC-008", 8},
        {"Response: fine\n", "fine", 8},
        {"Response: FSMC-x\n", "FSMC-x", 8},
        {"Response: FSMC--1\n", "FSMC--1", 8},
        {"Response: FSMC-99999999999\n", "FSMC-99999999999", 8},
        {"", "FSMC-008", 8},
    };
    for (const auto& c : cases) {
        const std::string line = kLabel + std::to_string(c.body.size()) + "\n";
        EXPECT_EQ(request_and_answer({line + c.body}), c.result) << c.body;
        EXPECT_EQ(status_, c.status);
    }
}

TEST_F(DatabaseTest, RefusesAnInvalidLength) {
    const std::string body = "\nResponse: FSMC-000\n";
    const std::string lines[] = {kLabel + "12x",
                                 kLabel,
                                 kLabel + "-1",
                                 kLabel + "262145",
                                 kLabel + "99999999999999999999",
                                 "Payload: 12",
                                 "",
                                 kLabel + std::string(2000, '1'),
                                 kLabel + "19" + std::string("\0x", 2),
                                 std::string("\0\xFF\x01", 3)};
    for (const std::string& line : lines) {
        EXPECT_EQ(request_and_answer({line + body}), DBMANAGER_RECEIVE_FAILED) << line;
        EXPECT_EQ(body_, "(null)");
    }
    // Too long, although the second chunk contains its end.
    const std::string digits(1000, '0');
    EXPECT_EQ(request_and_answer({kLabel + digits.substr(30), digits + "19" + body}),
              DBMANAGER_RECEIVE_FAILED);
    EXPECT_EQ(lines_with(kCall + "strtok parsing '" + kLabel +
                         "' response tag failed for function DML-SQL"),
              std::size(lines) + 1);
}

TEST_F(DatabaseTest, RefusesANumberBeyond32Bits) {
    const std::string many_rows = kLabel + "40\nResponse: FSMC-000\nNextRows: 4294967298\n";
    const std::string large_id = kLabel + "46\nResponse: FSMC-000\nLastInsertedID: 2147483648\n";
    EXPECT_EQ(request_and_answer({many_rows}), DBMANAGER_RECEIVE_FAILED);
    EXPECT_EQ(body_, "(null)");
    EXPECT_EQ(request_and_answer({large_id}), DBMANAGER_OK) << "a query does not use it";
    EXPECT_EQ(send_request("DML-SQL", "insert"), DBMANAGER_RECEIVE_FAILED);
    EXPECT_EQ(lines_with(kCall + "recv reading response failed with error 'Numerical result out of "
                                 "range' for function DML-SQL"),
              2u);
}

TEST_F(DatabaseTest, FailsWhenTheServiceClosesEarlyOrIsAbsent) {
    for (const char* answer : {"", "Response pay", "Response payload length: 20\n",
                               "Response payload length: 20\nResponse: FSMC-000\n"}) {
        EXPECT_EQ(request_and_answer({answer}), DBMANAGER_RECEIVE_FAILED) << answer;
        EXPECT_EQ(status_, "(null)");
    }
    const std::string closed =
        "recv reading response failed with error 'connection closed by the peer'";
    EXPECT_EQ(lines_with(kCall + closed + " for function DML-SQL"), 4u);
    server_.stop();
    EXPECT_EQ(send_request(), DBMANAGER_CONNECT_FAILED);
    EXPECT_EQ(body_, "(null)");
    EXPECT_TRUE(logged(kCall + "error opening socket DBManager clientside for function "
                               "DML-SQL"));
}

TEST_F(DatabaseTest, TimesOutWhenTheServiceSendsSlowly) {
    set_answer(Texts(60, "R"), std::chrono::milliseconds(250));
    const auto start = Clock::now();
    EXPECT_EQ(send_request(), DBMANAGER_RECEIVE_FAILED);
    const auto limit = std::chrono::seconds(DBMANAGER_EXCHANGE_SECONDS);
    EXPECT_GE(Clock::now() - start, limit - std::chrono::milliseconds(1));
    EXPECT_LT(Clock::now() - start, limit + std::chrono::seconds(3));
}

TEST_F(DatabaseTest, RefusesABadRequestBeforeSending) {
    set_answer({"Response payload length: 0\n"});
    EXPECT_EQ(send_request("DML", "SELECT"), DBMANAGER_UNSUPPORTED);
    EXPECT_EQ(send_request("DML-SQL", "VACUUM"), DBMANAGER_UNSUPPORTED);
    EXPECT_EQ(send_request(nullptr), DBMANAGER_UNSUPPORTED);
    EXPECT_EQ(send_request("DML-SQL", nullptr), DBMANAGER_UNSUPPORTED);
    EXPECT_TRUE(logged(kCall + "error function DML not supported"));
    EXPECT_TRUE(logged(kCall + "error type VACUUM not supported"));
    // All except the statement, when its length has five digits.
    const std::size_t frame = std::string(kRequest).size() - std::string(kStatement).size() + 3;
    const std::string longest(dbmanager_format::kRequestBufferBytes - 1 - frame, 's');
    EXPECT_EQ(send_request("DML-SQL", "SELECT", (longest + "s").c_str()), DBMANAGER_SEND_FAILED);
    EXPECT_EQ(request(), "");
    EXPECT_EQ(send_request("dml-sql", "select", longest.c_str()), 8);
    EXPECT_EQ(request().size(), dbmanager_format::kRequestBufferBytes - 1);
    EXPECT_EQ(send_request("DDL-SQL", "TRANSACTION", nullptr), 8);
    EXPECT_EQ(request(),
              "Request: DDL-SQL\nType: TRANSACTION\nStatement payload length: \nStatement: \n\n");
    EXPECT_EQ(lines_with(kCall + "send writing request failed with "
                                 "error 'Message too long' for function DML-SQL"),
              1u);
}

TEST(DatabaseFormat, ReadsARequestByTheLengthOfItsStatement) {
    const auto example = parse_request(kRequest);
    ASSERT_TRUE(example);
    EXPECT_EQ(dbmanager_format::compose_request(*example), kRequest);
    const dbmanager_format::Request request{"DML-SQL", "INSERT", "21", "INSERT\n\nStatement: x\n"};
    const auto parsed = parse_request(compose_request(request));
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->statement, request.statement);
    EXPECT_EQ(parsed->type, request.type);

    const std::string whole = kRequest;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(parse_request(whole.substr(0, size))) << size;
    }
    EXPECT_FALSE(parse_request(whole + "\n"));
    for (const char* number : {"47", "49", "-1", "4x", "2147483647", ""}) {
        std::string other = whole;
        EXPECT_FALSE(parse_request(other.replace(other.find("48"), 2, number)));
    }
}

TEST(DatabaseFormat, ComposesTheWorkedExampleAndReadsItBack) {
    const dbmanager_format::Response response{
        "FSMC-000",
        0,
        {"id", "optionalp"},
        {{"12", "ip_address='127.0.0.1'|username='lumi'"}, {"13", ""}}};
    std::string expected = std::string(kLengthLine) + "\n" + kBody;
    expected.replace(expected.find("ID,OPTIONALP"), 12, "id,optionalp");
    EXPECT_EQ(compose_response(response), expected);

    const auto parsed = parse_response(kBody);
    EXPECT_EQ(parsed.columns, (Texts{"ID", "OPTIONALP"}));
    EXPECT_EQ(parsed.rows, response.rows);
}

TEST(DatabaseFormat, ReadsMalformedBodies) {
    const auto odd = parse_response(
        "LastInsertedID: 99x\nNextRows: 1\n"
        "Row000001: msp,childobj_id\n\nRow\nRow000009: 1\nRow000002: 1,2,NextRows: 0\nx");
    EXPECT_EQ(odd.status, "FSMC-000");
    EXPECT_EQ(odd.last_inserted_id, 99);
    EXPECT_EQ(odd.columns, (Texts{"MSP", "CHILDOBJ_ID"}));
    EXPECT_EQ(odd.rows, (std::vector<Texts>{{"1"}, {"1", "2", "NextRows: 0"}}));

    for (const char* none : {"", "NextRows: 0\nRow000001: A\nRow000002: 1\n",
                             "NextRows: -2147483649\nRow000001: A\nRow000002: 1\n",
                             "NextRows: x\nRow000001: A\nRow000002: 1\n", "NextRows: 5\nRow00000",
                             "Row000001: NextRows: 3\nRow000002: 1\n"}) {
        EXPECT_TRUE(parse_response(none).rows.empty()) << none;
        EXPECT_TRUE(parse_response(none).columns.empty()) << none;
    }
    EXPECT_EQ(parse_response("LastInsertedID: 99999999999\n").last_inserted_id, 0);
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
