/// A transport that also looks for refusals in the bridge's answers: several operations of the
/// client library return true without a look at the answer. One thread at a time uses it.
#pragma once

#include <optional>
#include <string>

#include "huelib/LinHttpHandler.h"

namespace huectl {

/// A request that the bridge did not carry out.
struct Refusal {
    /// The types of a bridge's errors that have their own advice.
    enum Type : unsigned {
        kNotConfirmed = 0,  ///< not a bridge's: the answer to a change had no success and no error
        kUnauthorized = 1,
        kNotAvailable = 3,
        kLinkButtonNotPressed = 101,
        kLightIsOff = 201,
    };
    unsigned type;
    std::string description;  ///< the bridge's own text, not escaped

    /// The bridge's text, escaped, and what to try.
    std::string text() const;
};

class ObservingHttpHandler final : public LinHttpHandler {
  public:
    std::string sendHTTPRequest(std::string method, std::string uri, std::string content_type,
                                std::string body, const std::string& adr, int port) const override;

    /// The last refusal since the previous call.
    std::optional<Refusal> take_refusal() const;

  private:
    mutable std::optional<Refusal> refusal_;
};

}  // namespace huectl
