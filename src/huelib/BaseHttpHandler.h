/// HTTP and JSON requests on top of the two socket operations of a derived class.
///
/// HTTP/1.0 with the smallest header that a bridge accepts. The status code is not checked: an
/// error page is detected because it does not parse as JSON.
#pragma once

#include <string>

#include "huelib/IHttpHandler.h"

class BaseHttpHandler : public IHttpHandler {
  public:
    /// Throws std::runtime_error, "BaseHttpHandler: Failed to find body in response", if the answer
    /// has no empty line.
    std::string sendGetHTTPBody(const std::string& msg, const std::string& adr,
                                int port) const override;

    /// Compose the request, send it with sendGetHTTPBody and throw as it does.
    std::string sendHTTPRequest(std::string method, std::string uri, std::string content_type,
                                std::string body, const std::string& adr, int port) const override;
    std::string GETString(std::string uri, std::string content_type, std::string body,
                          const std::string& adr, int port) const override;
    std::string POSTString(std::string uri, std::string content_type, std::string body,
                           const std::string& adr, int port) const override;
    std::string PUTString(std::string uri, std::string content_type, std::string body,
                          const std::string& adr, int port) const override;
    std::string DELETEString(std::string uri, std::string content_type, std::string body,
                             const std::string& adr, int port) const override;

    /// Throw std::runtime_error, "BaseHttpHandler: Error while parsing JSON in function
    /// strToJsonValue()", if JsonAccess::parse refuses the body of the answer.
    Json::Value GETJson(std::string uri, const Json::Value& body, const std::string& adr,
                        int port) const override;
    Json::Value POSTJson(std::string uri, const Json::Value& body, const std::string& adr,
                         int port) const override;
    Json::Value PUTJson(std::string uri, const Json::Value& body, const std::string& adr,
                        int port) const override;
    Json::Value DELETEJson(std::string uri, const Json::Value& body, const std::string& adr,
                           int port) const override;
};
