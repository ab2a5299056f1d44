#include "BridgeSession.h"

#include <cerrno>
#include <string_view>
#include <system_error>

#include "Failure.h"
#include "huelib/JsonAccess.h"

namespace huectl {

std::string reason_of(const std::system_error& failure) {
    // First, since the resolver leaves errno undefined.
    if (std::string_view(failure.what()).find("gethostbyname") != std::string_view::npos) {
        return "no such host";
    }
    switch (failure.code().value()) {
        case EAGAIN:
        case EINPROGRESS:
        case ETIMEDOUT:
            return "no answer in time";
        case EMSGSIZE:
            return "the answer is too long";
        default:
            return failure.code().message();
    }
}

bool is_of_this_machine(const std::system_error& failure) {
    const int code = failure.code().value();
    return code == EMFILE || code == ENFILE || code == ENOMEM || code == ENOBUFS;
}

void talk_to(const std::string& peer, const std::function<void()>& action,
             const std::string& advice) {
    try {
        action();
    } catch (const std::system_error& failure) {
        if (is_of_this_machine(failure)) {
            throw;
        }
        throw Failure(ExitCode::not_reached,
                      peer + " was not reached (" + reason_of(failure) + "); " + advice);
    } catch (const std::runtime_error&) {
        throw Failure(ExitCode::not_reached, peer + " does not answer like a bridge; " + advice);
    }
}

BridgeSession::BridgeSession(const std::string& address, const std::string& user)
    : address_(address),
      transport_(std::make_shared<ObservingHttpHandler>()),
      bridge_(address, user, transport_) {}

Json::Value BridgeSession::lights() {
    Json::Value answer = read("/lights");
    if (!answer.isObject()) {
        throw Failure(ExitCode::not_reached,
                      address_ + " did not answer with a list of lights; check the address");
    }
    return answer;
}

Json::Value BridgeSession::light(int id) {
    Json::Value answer = read("/lights/" + std::to_string(id));
    if (!JsonAccess::member(answer, "state").isObject()) {
        throw Failure(ExitCode::not_reached,
                      address_ + " did not answer with a light; check the address");
    }
    return answer;
}

void BridgeSession::carry_out(const std::string& what, const std::function<bool(Hue&)>& action) {
    bool is_confirmed = false;
    try {
        talk_to(address_, [&] { is_confirmed = action(bridge_); });
    } catch (const Failure&) {
        expect_no_refusal(what);  // the bridge's own text says more
        throw;
    }
    expect_no_refusal(what);
    if (!is_confirmed) {
        throw Failure(ExitCode::refused, what + ": " + Refusal{Refusal::kNotConfirmed, ""}.text());
    }
}

Json::Value BridgeSession::read(const std::string& path) {
    Json::Value answer;
    talk_to(address_, [&] { answer = bridge_.getCommandAPI().GETRequest(path); });
    expect_no_refusal(path);
    return answer;
}

void BridgeSession::expect_no_refusal(const std::string& what) {
    const auto refusal = transport_->take_refusal();
    if (refusal) {
        throw Failure(ExitCode::refused, what + ": " + refusal->text());
    }
}

}  // namespace huectl
