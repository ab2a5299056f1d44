#include "huelib/BaseHttpHandler.h"

#include <stdexcept>

#include <gtest/gtest.h>

namespace {

/// Answers every message with one text.
class RecordingHandler : public BaseHttpHandler {
  public:
    explicit RecordingHandler(std::string answer) : answer_(std::move(answer)) {}
    std::string send(const std::string& msg, const std::string& adr, int port) const override {
        sent = msg;
        target = adr + ":" + std::to_string(port);
        return answer_;
    }
    std::vector<std::string> sendMulticast(const std::string&, const std::string&, int,
                                           int) const override {
        return {};
    }
    mutable std::string sent;
    mutable std::string target;

  private:
    std::string answer_;
};

std::string failure_of(const std::string& answer) {
    try {
        RecordingHandler(answer).GETJson("/", Json::Value(Json::objectValue), "bridge", 80);
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
    return "";
}

}  // namespace

TEST(BaseHttpHandler, ComposesTheRequestByteForByte) {
    const RecordingHandler handler("HTTP/1.0 200 OK\r\nA: b\r\n\r\nbody\r\n\r\nmore");
    EXPECT_EQ(handler.PUTString("/uri", "text/plain", "12345", "bridge", 81), "body\r\n\r\nmore");
    EXPECT_EQ(handler.sent,
              "PUT /uri HTTP/1.0\r\nContent-Type: text/plain\r\nContent-Length: 5\r\n\r\n"
              "12345\r\n\r\n");
    EXPECT_EQ(handler.target, "bridge:81");
    handler.POSTString("/", "a/b", "", "bridge", 80);
    EXPECT_EQ(handler.sent,
              "POST / HTTP/1.0\r\nContent-Type: a/b\r\nContent-Length: 0\r\n\r\n\r\n\r\n");
}

TEST(BaseHttpHandler, SendsStyledJsonWithEveryMethod) {
    const RecordingHandler handler("\r\n\r\n[{\"a\": 1}]");
    Json::Value body;
    body["on"] = true;
    const struct {
        const char* method;
        Json::Value (IHttpHandler::*send)(std::string, const Json::Value&, const std::string&,
                                          int) const;
    } cases[] = {{"GET", &IHttpHandler::GETJson},
                 {"POST", &IHttpHandler::POSTJson},
                 {"PUT", &IHttpHandler::PUTJson},
                 {"DELETE", &IHttpHandler::DELETEJson}};
    for (const auto& each : cases) {
        EXPECT_EQ((handler.*each.send)("/x", body, "bridge", 80)[0]["a"], Json::Value(1));
        EXPECT_EQ(handler.sent, std::string(each.method) +
                                    " /x HTTP/1.0\r\nContent-Type: application/json\r\n"
                                    "Content-Length: 17\r\n\r\n{\n\t\"on\" : true\n}\n\r\n\r\n");
    }
}

TEST(BaseHttpHandler, RefusesWhatIsNoAnswer) {
    const std::string no_body = "BaseHttpHandler: Failed to find body in response";
    const std::string no_json =
        "BaseHttpHandler: Error while parsing JSON in function strToJsonValue()";
    for (const char* answer : {"", "HTTP/1.0 200 OK\r\n", "{}", "\r\n\r"}) {
        EXPECT_EQ(failure_of(answer), no_body) << answer;
    }
    const std::string deep(5000, '[');
    for (const std::string& body : {std::string(), std::string("<html>no</html>"),
                                    std::string("{\"a\": "), std::string("[1,"), deep}) {
        EXPECT_EQ(failure_of("HTTP/1.0 404\r\n\r\n" + body), no_json) << body;
    }
}
