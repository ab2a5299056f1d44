/// The one road by which requests for a bridge user reach the bridge's REST interface.
///
/// A bridge that is sent requests too fast drops them or resets connections. All copies of one
/// sender therefore share a pacing record: their requests run one at a time, and none starts less
/// than minDelay after one that went through. Senders that were constructed do not know of each
/// other: one for each bridge and user, and copies of it. Any thread may call.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "huelib/IHttpHandler.h"

class HueCommandAPI {
  public:
    /// Pacing state, shared by every copy of a sender; it dies with the last of them.
    struct TimeoutData {
        std::chrono::steady_clock::time_point timeout;  ///< the next request starts no earlier
        std::mutex mutex;  ///< held for a whole request, waits and retry included; guards `timeout`
    };

    /// TCP port of every bridge.
    static constexpr int kBridgePort = 80;
    /// From the start of a request that went through to that of the next.
    static constexpr std::chrono::nanoseconds minDelay{100'000'000};

    /// `bridgeIp`: host name or dotted IPv4 address; `user`: the name registered on the bridge.
    /// The handler is shared, and must not be null. Sends nothing.
    HueCommandAPI(const std::string& bridgeIp, const std::string& user,
                  std::shared_ptr<const IHttpHandler> handler);

    /// Send `request` to "/api/<user>/<path>" on port 80 (the slash before `path` may be given or
    /// not) and return the parsed answer, whose content is not examined. A request whose connection
    /// is reset or times out (ECONNRESET, ETIMEDOUT; not the limits of LinHttpHandler, which are
    /// EAGAIN and EINPROGRESS) is sent once more, minDelay later; every other exception of the
    /// transport propagates, as does any of the second attempt.
    ///
    /// Block until the requests of other threads are through, for at most minDelay of pacing, and
    /// for as long as the transport takes, twice if need be: an attempt of LinHttpHandler takes a
    /// minute at most (15 s to connect, 15 s for a request that goes into the socket at once, 30 s
    /// for the answer), the lookup of a host name apart.
    Json::Value PUTRequest(const std::string& path, const Json::Value& request) const;
    Json::Value GETRequest(const std::string& path, const Json::Value& request) const;
    Json::Value DELETERequest(const std::string& path, const Json::Value& request) const;

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
