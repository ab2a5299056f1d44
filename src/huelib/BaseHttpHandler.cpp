#include "huelib/BaseHttpHandler.h"

#include <stdexcept>
#include <utility>

#include "huelib/JsonAccess.h"

namespace {

constexpr const char* kJsonContent = "application/json";

Json::Value strToJsonValue(const std::string& text) {
    Json::Value result;
    if (!JsonAccess::parse(text, result)) {
        throw std::runtime_error(
            "BaseHttpHandler: Error while parsing JSON in function strToJsonValue()");
    }
    return result;
}

}  // namespace

std::string BaseHttpHandler::sendGetHTTPBody(const std::string& msg, const std::string& adr,
                                             int port) const {
    static const std::string kEmptyLine = "\r\n\r\n";
    std::string answer = send(msg, adr, port);
    const std::size_t end = answer.find(kEmptyLine);
    if (end == std::string::npos) {
        throw std::runtime_error("BaseHttpHandler: Failed to find body in response");
    }
    answer.erase(0, end + kEmptyLine.size());
    return answer;
}

std::string BaseHttpHandler::sendHTTPRequest(std::string method, std::string uri,
                                             std::string content_type, std::string body,
                                             const std::string& adr, int port) const {
    std::string request = std::move(method);
    request += " " + uri + " HTTP/1.0\r\n";
    request += "Content-Type: " + content_type + "\r\n";
    request += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    // The second empty line belongs to the request, also after an empty body.
    request += body + "\r\n\r\n";
    return sendGetHTTPBody(request, adr, port);
}

std::string BaseHttpHandler::GETString(std::string uri, std::string content_type, std::string body,
                                       const std::string& adr, int port) const {
    return sendHTTPRequest("GET", std::move(uri), std::move(content_type), std::move(body), adr,
                           port);
}

std::string BaseHttpHandler::POSTString(std::string uri, std::string content_type, std::string body,
                                        const std::string& adr, int port) const {
    return sendHTTPRequest("POST", std::move(uri), std::move(content_type), std::move(body), adr,
                           port);
}

std::string BaseHttpHandler::PUTString(std::string uri, std::string content_type, std::string body,
                                       const std::string& adr, int port) const {
    return sendHTTPRequest("PUT", std::move(uri), std::move(content_type), std::move(body), adr,
                           port);
}

std::string BaseHttpHandler::DELETEString(std::string uri, std::string content_type,
                                          std::string body, const std::string& adr,
                                          int port) const {
    return sendHTTPRequest("DELETE", std::move(uri), std::move(content_type), std::move(body), adr,
                           port);
}

Json::Value BaseHttpHandler::GETJson(std::string uri, const Json::Value& body,
                                     const std::string& adr, int port) const {
    return strToJsonValue(
        GETString(std::move(uri), kJsonContent, body.toStyledString(), adr, port));
}

Json::Value BaseHttpHandler::POSTJson(std::string uri, const Json::Value& body,
                                      const std::string& adr, int port) const {
    return strToJsonValue(
        POSTString(std::move(uri), kJsonContent, body.toStyledString(), adr, port));
}

Json::Value BaseHttpHandler::PUTJson(std::string uri, const Json::Value& body,
                                     const std::string& adr, int port) const {
    return strToJsonValue(
        PUTString(std::move(uri), kJsonContent, body.toStyledString(), adr, port));
}

Json::Value BaseHttpHandler::DELETEJson(std::string uri, const Json::Value& body,
                                        const std::string& adr, int port) const {
    return strToJsonValue(
        DELETEString(std::move(uri), kJsonContent, body.toStyledString(), adr, port));
}
