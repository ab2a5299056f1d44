/// Sends all requests of a bridge user to the bridge's REST interface, rate-limited.
///
/// A bridge that receives requests too fast drops them or resets connections. All copies of one
/// sender therefore share a pacing record: their requests run one at a time, and each starts at
/// least minDelay after the last successful one. Senders that were constructed separately are not
/// paced together: construct one for each bridge and user, and copy it. Any thread may call.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "huelib/IHttpHandler.h"

class HueCommandAPI {
  public:
    /// Pacing state, shared by all copies of a sender and destroyed with the last one.
    struct TimeoutData {
        std::chrono::steady_clock::time_point timeout;  ///< earliest start of the next request
        std::mutex mutex;  ///< guards `timeout`; held for a whole request with its waits and retry
    };

    /// TCP port of every bridge.
    static constexpr int kBridgePort = 80;
    /// From the start of a successful request to the start of the next one.
    static constexpr std::chrono::nanoseconds minDelay{100'000'000};

    /// `bridgeIp`: host name or dotted IPv4 address; `user`: the name registered on the bridge.
    /// The handler is shared, and must not be null. Sends no request.
    HueCommandAPI(const std::string& bridgeIp, const std::string& user,
                  std::shared_ptr<const IHttpHandler> handler);

    /// Send `request` to "/api/<user>/<path>" on kBridgePort (the slash before `path` is optional)
    /// and return the parsed answer, whose content is not checked. If the connection is reset or
    /// times out (ECONNRESET, ETIMEDOUT; not the limits of LinHttpHandler, which are EAGAIN and
    /// EINPROGRESS), send once more after minDelay. Every other exception of the transport
    /// propagates, as does any of the second attempt.
    ///
    /// Block until the requests of other threads are done, for at most minDelay of pacing, and for
    /// one or two attempts of the transport: one of LinHttpHandler takes at most a minute (15 s to
    /// connect, 15 s for a request that fits into the socket's buffer, 30 s for the answer),
    /// without the lookup of a host name.
    ///
    /// The default body of GET and DELETE is an empty object, which is sent as "{}".
    Json::Value PUTRequest(const std::string& path, const Json::Value& request) const;
    Json::Value GETRequest(const std::string& path,
                           const Json::Value& request = Json::Value(Json::objectValue)) const;
    Json::Value DELETERequest(const std::string& path,
                              const Json::Value& request = Json::Value(Json::objectValue)) const;

  private:
    using Method = Json::Value (IHttpHandler::*)(std::string uri, const Json::Value& body,
                                                 const std::string& adr, int port) const;

    Json::Value sendPaced(Method method, const std::string& path, const Json::Value& request) const;
    std::string fullPath(const std::string& path) const;

    std::string ip;
    std::string username;
    std::shared_ptr<const IHttpHandler> httpHandler;
    std::shared_ptr<TimeoutData> timeout;
};
