/// The tool's requests to one bridge. Failures say what to try. One thread uses a session.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include <json/value.h>

#include "ObservingHttpHandler.h"
#include "huelib/Hue.h"

namespace huectl {

/// Why the transport failed, in words: "Connection refused", "no answer in time".
std::string reason_of(const std::system_error& failure);

/// Whether this machine is out of descriptors or memory, so that the failure says nothing of the
/// peer.
bool is_of_this_machine(const std::system_error& failure);

/// Runs `action`, which talks to `peer`. Exceptions of the client library become Failures that name
/// `peer` and give `advice`, except those of this machine.
void talk_to(const std::string& peer, const std::function<void()>& action,
             const std::string& advice = "check the address, the power and the network cable");

class BridgeSession final {
  public:
    /// Sends nothing.
    BridgeSession(const std::string& address, const std::string& user);

    /// The descriptions of all lights: an object by light ID. Its content is not checked.
    Json::Value lights();
    /// The description of one light: an object with a "state".
    Json::Value light(int id);
    /// Runs `action` on the client library's bridge. Throws a Failure that begins with `what` when
    /// the bridge refuses something, or when `action` returns false.
    void carry_out(const std::string& what, const std::function<bool(Hue&)>& action);

  private:
    Json::Value read(const std::string& path);
    void expect_no_refusal(const std::string& what);

    std::string address_;
    std::shared_ptr<const ObservingHttpHandler> transport_;
    Hue bridge_;
};

}  // namespace huectl
