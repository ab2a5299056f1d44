#include "huelib/HueCommandAPI.h"

#include <system_error>
#include <thread>
#include <utility>

namespace {

// What an overloaded bridge does. A read that times out reports EAGAIN and is not repeated: a
// second wait would double the time for which a bridge that hangs blocks the caller.
bool isWorthARetry(const std::system_error& failure) {
    return failure.code() == std::errc::connection_reset || failure.code() == std::errc::timed_out;
}

}  // namespace

HueCommandAPI::HueCommandAPI(const std::string& bridgeIp, const std::string& user,
                             std::shared_ptr<const IHttpHandler> handler)
    : ip(bridgeIp),
      username(user),
      httpHandler(std::move(handler)),
      timeout(std::make_shared<TimeoutData>()) {
    timeout->timeout = std::chrono::steady_clock::now();
}

Json::Value HueCommandAPI::PUTRequest(const std::string& path, const Json::Value& request) const {
    return sendPaced(&IHttpHandler::PUTJson, path, request);
}

Json::Value HueCommandAPI::GETRequest(const std::string& path, const Json::Value& request) const {
    return sendPaced(&IHttpHandler::GETJson, path, request);
}

Json::Value HueCommandAPI::DELETERequest(const std::string& path,
                                         const Json::Value& request) const {
    return sendPaced(&IHttpHandler::DELETEJson, path, request);
}

Json::Value HueCommandAPI::sendPaced(Method method, const std::string& path,
                                     const Json::Value& request) const {
    const auto send = [&, uri = fullPath(path)] {
        return ((*httpHandler).*method)(uri, request, ip, kBridgePort);
    };
    const std::lock_guard<std::mutex> guard(timeout->mutex);
    std::this_thread::sleep_until(timeout->timeout);
    // Counted after the wait, not before it; otherwise the next request would not wait.
    const auto started = std::chrono::steady_clock::now();
    try {
        Json::Value answer = send();
        timeout->timeout = started + minDelay;
        return answer;
    } catch (const std::system_error& failure) {
        if (!isWorthARetry(failure)) {
            throw;
        }
    }
    std::this_thread::sleep_for(minDelay);
    Json::Value answer = send();
    timeout->timeout = std::chrono::steady_clock::now() + minDelay;
    return answer;
}

std::string HueCommandAPI::fullPath(const std::string& path) const {
    const bool needsSlash = !path.empty() && path.front() != '/';
    return "/api/" + username + (needsSlash ? "/" : "") + path;
}
