#include "huelib/BaseHttpHandler.h"

#include <stdexcept>

#include <gmock/gmock.h>

namespace {

/// Answers every message with the same text.
class RecordingHandler : public BaseHttpHandler {
  public:
    explicit RecordingHandler(std::string answer) : answer_(std::move(answer)) {}
    std::string send(const std::string& msg, const std::string&, int) const override {
        sent = msg;
        return answer_;
    }
    std::vector<std::string> sendMulticast(const std::string&, const std::string&, int,
                                           int) const override {
        return {};
    }
    mutable std::string sent;

  private:
    std::string answer_;
};

}  // namespace

TEST(BaseHttpHandler, ComposesTheRequestByteForByte) {
    const RecordingHandler handler("HTTP/1.0 200 OK\r\nA: b\r\n\r\nbody\r\n\r\nmore");
    EXPECT_EQ(handler.PUTString("/", "a/b", "", "bridge", 80), "body\r\n\r\nmore");
    EXPECT_EQ(handler.sent,
              "PUT / HTTP/1.0\r\nContent-Type: a/b\r\nContent-Length: 0\r\n\r\n\r\n\r\n");
    const RecordingHandler json_handler("\r\n\r\n[{\"a\": 1}]");
    Json::Value body;
    body["on"] = true;
    using Send = Json::Value (IHttpHandler::*)(std::string, const Json::Value&, const std::string&,
                                               int) const;
    const std::pair<std::string, Send> cases[] = {{"GET", &IHttpHandler::GETJson},
                                                  {"POST", &IHttpHandler::POSTJson},
                                                  {"PUT", &IHttpHandler::PUTJson},
                                                  {"DELETE", &IHttpHandler::DELETEJson}};
    for (const auto& [method, send] : cases) {
        EXPECT_EQ((json_handler.*send)("/x", body, "bridge", 80)[0]["a"], Json::Value(1));
        EXPECT_EQ(json_handler.sent, method +
                                         " /x HTTP/1.0\r\nContent-Type: application/json\r\n"
                                         "Content-Length: 17\r\n\r\n{\n\t\"on\" : true\n}\n"
                                         "\r\n\r\n");
    }
}

TEST(BaseHttpHandler, RefusesAnInvalidAnswer) {
    const char* const no_body = "BaseHttpHandler: Failed to find body in response";
    const char* const no_json =
        "BaseHttpHandler: Error while parsing JSON in function strToJsonValue()";
    const std::string head = "HTTP/1.0 404\r\n\r\n";
    const std::pair<std::string, const char*> cases[] = {{"", no_body},
                                                         {"HTTP/1.0 200 OK\r\n", no_body},
                                                         {"{}", no_body},
                                                         {"\r\n\r", no_body},
                                                         {head, no_json},
                                                         {head + "<html>no</html>", no_json},
                                                         {head + "[1", no_json},
                                                         {head + "{\"a\": ", no_json},
                                                         {head + std::string(5000, '['), no_json}};
    for (const auto& [answer, expected] : cases) {
        const RecordingHandler handler(answer);
        EXPECT_THAT([&] { handler.GETJson("/", Json::Value(), "bridge", 80); },
                    testing::ThrowsMessage<std::runtime_error>(expected))
            << answer;
    }
}
