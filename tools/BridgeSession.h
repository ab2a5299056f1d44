/// One bridge as the tool talks to it: requests whose failures are Failures with an advice.
///
/// One thread uses a session.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <json/value.h>

#include "ObservingHttpHandler.h"
#include "huelib/Hue.h"
#include "huelib/HueCommandAPI.h"

namespace huectl {

/// Runs `action`, which talks to `peer`, and turns the exceptions of the client library into
/// Failures that name it and give `advice`.
void talk_to(const std::string& peer, const std::function<void()>& action,
             const std::string& advice = "check the address, the power and the network cable");

class BridgeSession final {
  public:
    /// Sends nothing.
    BridgeSession(const std::string& address, const std::string& user);

    /// What the bridge tells of all its lights: an object by light id, whose content is the
    /// bridge's.
    Json::Value lights();
    /// What it tells of one light: an object with a "state".
    Json::Value light(int id);
    /// Runs `action` on the client library's bridge. A Failure when the bridge refuses something,
    /// or when `action` answers false; `what` names it.
    void carry_out(const std::string& what, const std::function<bool(Hue&)>& action);

  private:
    enum class Sender { nobody, session, bridge };

    Json::Value read(const std::string& path);
    void take_turn(Sender next);
    void expect_no_refusal(const std::string& what);

    std::string address_;
    std::shared_ptr<const ObservingHttpHandler> transport_;
    HueCommandAPI sender_;
    Hue bridge_;
    Sender last_ = Sender::nobody;
};

}  // namespace huectl
