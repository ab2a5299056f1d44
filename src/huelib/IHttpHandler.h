/// The transport to a bridge: HTTP requests on TCP, searches by multicast on UDP.
///
/// Held as a shared pointer to const; one object serves the bridge object, its command sender and
/// all lights. Implementations have no state: any thread may call.
///
/// `adr` is a host name or a dotted IPv4 address, `port` the TCP or UDP port, 1..65535. A socket
/// error throws std::system_error (errno, generic category), a protocol error std::runtime_error,
/// its base class.
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

class IHttpHandler {
  public:
    virtual ~IHttpHandler() = default;

    /// Sends `msg` on a new connection and returns everything that the peer sent until it closed,
    /// header included.
    virtual std::string send(const std::string& msg, const std::string& adr, int port) const = 0;
    /// The same, with everything up to and including the first empty line removed. Throws
    /// std::runtime_error if there is no empty line.
    virtual std::string sendGetHTTPBody(const std::string& msg, const std::string& adr,
                                        int port) const = 0;
    /// Sends `msg` as one datagram and collects what arrives within `timeout` seconds, split at
    /// empty lines. Uses a full CPU core for the whole time; with 0 or less it only sends.
    virtual std::vector<std::string> sendMulticast(const std::string& msg, const std::string& adr,
                                                   int port, int timeout) const = 0;

    /// Sends one HTTP/1.0 request and returns the body of the answer, whatever its status. `uri` is
    /// the path on the peer; nothing is escaped. Throws as sendGetHTTPBody does.
    virtual std::string sendHTTPRequest(std::string method, std::string uri,
                                        std::string content_type, std::string body,
                                        const std::string& adr, int port) const = 0;

    /// sendHTTPRequest with one method each.
    virtual std::string GETString(std::string uri, std::string content_type, std::string body,
                                  const std::string& adr, int port) const = 0;
    virtual std::string POSTString(std::string uri, std::string content_type, std::string body,
                                   const std::string& adr, int port) const = 0;
    virtual std::string PUTString(std::string uri, std::string content_type, std::string body,
                                  const std::string& adr, int port) const = 0;
    virtual std::string DELETEString(std::string uri, std::string content_type, std::string body,
                                     const std::string& adr, int port) const = 0;

    /// The JSON forms send `body` as application/json (GET and DELETE too) and parse the answer.
    /// Throw as sendHTTPRequest does, and std::runtime_error if the answer is not JSON.
    virtual Json::Value GETJson(std::string uri, const Json::Value& body, const std::string& adr,
                                int port) const = 0;
    virtual Json::Value POSTJson(std::string uri, const Json::Value& body, const std::string& adr,
                                 int port) const = 0;
    virtual Json::Value PUTJson(std::string uri, const Json::Value& body, const std::string& adr,
                                int port) const = 0;
    virtual Json::Value DELETEJson(std::string uri, const Json::Value& body, const std::string& adr,
                                   int port) const = 0;
};
