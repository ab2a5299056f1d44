#include "BridgeSession.h"

#include <cerrno>
#include <string_view>
#include <system_error>
#include <thread>

#include "Failure.h"
#include "huelib/JsonAccess.h"

namespace huectl {
namespace {

// What a socket's failure means to somebody who can look at the cables.
std::string text_of(const std::system_error& failure) {
    // First: the resolver leaves any errno.
    if (std::string_view(failure.what()).find("gethostbyname") != std::string_view::npos) {
        return "no such host";
    }
    switch (failure.code().value()) {
        case EAGAIN:
        case EINPROGRESS:
        case ETIMEDOUT:
            return "no answer in time";
        case EMSGSIZE:
            return "it answers more than any bridge";
        default:
            return failure.code().message();
    }
}

}  // namespace

void talk_to(const std::string& peer, const std::function<void()>& action,
             const std::string& advice) {
    try {
        action();
    } catch (const std::system_error& failure) {
        throw Failure(ExitCode::not_reached,
                      peer + " was not reached (" + text_of(failure) + "); " + advice);
    } catch (const std::runtime_error&) {
        throw Failure(ExitCode::not_reached, peer + " does not answer as a bridge does; " + advice);
    }
}

BridgeSession::BridgeSession(const std::string& address, const std::string& user)
    : address_(address),
      transport_(std::make_shared<ObservingHttpHandler>()),
      sender_(address, user, transport_),
      bridge_(address, user, transport_) {}

Json::Value BridgeSession::lights() {
    Json::Value answer = read("/lights");
    if (!answer.isObject()) {
        throw Failure(ExitCode::not_reached,
                      address_ + " answers with something else than lights; check the address");
    }
    return answer;
}

Json::Value BridgeSession::light(int id) {
    Json::Value answer = read("/lights/" + std::to_string(id));
    if (!JsonAccess::member(answer, "state").isObject()) {
        throw Failure(ExitCode::not_reached,
                      address_ + " answers with something else than a light; check the address");
    }
    return answer;
}

void BridgeSession::carry_out(const std::string& what, const std::function<bool(Hue&)>& action) {
    take_turn(Sender::bridge);
    bool is_confirmed = false;
    try {
        talk_to(address_, [&] { is_confirmed = action(bridge_); });
    } catch (const Failure&) {
        expect_no_refusal(what);  // the bridge's own words say more
        throw;
    }
    expect_no_refusal(what);
    if (!is_confirmed) {
        throw Failure(ExitCode::refused, what + ": " + Refusal{Refusal::kNotConfirmed, ""}.text());
    }
}

Json::Value BridgeSession::read(const std::string& path) {
    take_turn(Sender::session);
    Json::Value answer;
    talk_to(address_, [&] { answer = sender_.GETRequest(path, Json::Value(Json::objectValue)); });
    expect_no_refusal(path);
    return answer;
}

// Each of the two senders paces its own requests only.
void BridgeSession::take_turn(Sender next) {
    if (last_ != Sender::nobody && last_ != next) {
        std::this_thread::sleep_for(HueCommandAPI::minDelay);
    }
    last_ = next;
}

void BridgeSession::expect_no_refusal(const std::string& what) {
    const auto refusal = transport_->take_refusal();
    if (refusal) {
        throw Failure(ExitCode::refused, what + ": " + refusal->text());
    }
}

}  // namespace huectl
