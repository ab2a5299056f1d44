#include "huelib/BaseHttpHandler.h"

#include <stdexcept>

#include "tests/support/ScriptedHttpHandler.h"
#include "tests/support/Vectors.h"

TEST(BaseHttpHandler, ComposesTheRequestByteForByte) {
    ScriptedHttpHandler bridge;
    bridge.add("PUT", [] { return "HTTP/1.0 200 OK\r\nA: b\r\n\r\nbody\r\n\r\nmore"; });
    EXPECT_EQ(bridge.PUTString("/", "a/b", "", "bridge", 80), "body\r\n\r\nmore");
    EXPECT_EQ(bridge.requests()[0].text,
              "PUT / HTTP/1.0\r\nContent-Type: a/b\r\nContent-Length: 0\r\n\r\n\r\n\r\n");
    Json::Value body;
    body["on"] = true;
    using Send = Json::Value (IHttpHandler::*)(std::string, const Json::Value&, const std::string&,
                                               int) const;
    const std::pair<std::string, Send> cases[] = {{"GET", &IHttpHandler::GETJson},
                                                  {"POST", &IHttpHandler::POSTJson},
                                                  {"PUT", &IHttpHandler::PUTJson},
                                                  {"DELETE", &IHttpHandler::DELETEJson}};
    for (const auto& [method, send] : cases) {
        bridge.add_answer(method, "[7]");
        EXPECT_EQ((bridge.*send)("/x", body, "bridge", 80)[0], Json::Value(7));
        EXPECT_EQ(bridge.requests().back().text,
                  method +
                      " /x HTTP/1.0\r\nContent-Type: application/json\r\n"
                      "Content-Length: 17\r\n\r\n{\n\t\"on\" : true\n}\n\r\n\r\n");
    }
}

TEST(BaseHttpHandler, RefusesAnInvalidAnswer) {
    for_each_vector("huelib/answers.txt", "http", 3, [](const auto& cells) {
        ScriptedHttpHandler bridge;
        bridge.add("GET", [&] { return cells[0]; });
        try {
            bridge.GETJson("/", Json::Value(), "bridge", 80);
            ADD_FAILURE() << "accepted";
        } catch (const std::runtime_error& problem) {
            EXPECT_EQ(problem.what(), cells[1]);
        }
    });
}
