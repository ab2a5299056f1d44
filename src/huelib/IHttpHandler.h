/// The transport to a bridge: HTTP requests on TCP, searches by multicast on UDP.
///
/// Everything that talks to a bridge holds it as a shared pointer to const; one object serves the
/// bridge, its command sender and all lights. Implementations keep no state: any thread may call.
///
/// `adr` is a host name or a dotted IPv4 address, `port` the TCP or UDP port, 1..65535. Failures of
/// a socket are std::system_error (errno, generic category), those of the protocol
/// std::runtime_error, of which the first is derived.
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

class IHttpHandler {
  public:
    virtual ~IHttpHandler() = default;

    /// Sends `msg` on a connection of its own and returns all that the peer answered until it
    /// closed, header included.
    virtual std::string send(const std::string& msg, const std::string& adr, int port) const = 0;
    /// The same, with everything up to and including the first empty line removed. Throws
    /// std::runtime_error when there is none.
    virtual std::string sendGetHTTPBody(const std::string& msg, const std::string& adr,
                                        int port) const = 0;
    /// Sends `msg` as one datagram and collects what arrives within `timeout` seconds, cut at empty
    /// lines. Keeps its thread busy for the whole time; with 0 or less it only sends.
    virtual std::vector<std::string> sendMulticast(const std::string& msg, const std::string& adr,
                                                   int port, int timeout) const = 0;

    /// One HTTP/1.0 request; returns the body of the answer, whatever its status. `uri` is the path
    /// on the peer; nothing is escaped. Throws as sendGetHTTPBody does.
    virtual std::string sendHTTPRequest(std::string method, std::string uri,
                                        std::string content_type, std::string body,
                                        const std::string& adr, int port) const = 0;

    /// sendHTTPRequest by one method each.
    virtual std::string GETString(std::string uri, std::string content_type, std::string body,
                                  const std::string& adr, int port) const = 0;
    virtual std::string POSTString(std::string uri, std::string content_type, std::string body,
                                   const std::string& adr, int port) const = 0;
    virtual std::string PUTString(std::string uri, std::string content_type, std::string body,
                                  const std::string& adr, int port) const = 0;
    virtual std::string DELETEString(std::string uri, std::string content_type, std::string body,
                                     const std::string& adr, int port) const = 0;

    /// The JSON forms send `body` as application/json (GET and DELETE too) and parse the answer.
    /// Throw as the others, and std::runtime_error when it is not JSON.
    virtual Json::Value GETJson(std::string uri, const Json::Value& body, const std::string& adr,
                                int port) const = 0;
    virtual Json::Value POSTJson(std::string uri, const Json::Value& body, const std::string& adr,
                                 int port) const = 0;
    virtual Json::Value PUTJson(std::string uri, const Json::Value& body, const std::string& adr,
                                int port) const = 0;
    virtual Json::Value DELETEJson(std::string uri, const Json::Value& body, const std::string& adr,
                                   int port) const = 0;
};
