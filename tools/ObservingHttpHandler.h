/// The transport that also looks at what the bridge says: several operations of the client library
/// answer true without looking, but somebody at the cabinet has to know when the bridge refused.
///
/// One thread at a time sends or asks.
#pragma once

#include <optional>
#include <string>

#include "huelib/LinHttpHandler.h"

namespace huectl {

/// Why a bridge did not do what it was asked.
struct Refusal {
    /// Types of a bridge's error elements that have an advice of their own.
    enum Type : unsigned {
        kNotConfirmed = 0,  ///< of our own: a change was answered with neither success nor error
        kUnauthorized = 1,
        kNotAvailable = 3,
        kLinkButtonNotPressed = 101,
        kLightIsOff = 201,
    };
    unsigned type;
    std::string description;  ///< the bridge's own words; not fit for a terminal as they are

    /// For a person: what the bridge says, and what to try.
    std::string text() const;
};

class ObservingHttpHandler final : public LinHttpHandler {
  public:
    std::string sendHTTPRequest(std::string method, std::string uri, std::string content_type,
                                std::string body, const std::string& adr, int port) const override;

    /// The last refusal since the last call.
    std::optional<Refusal> take_refusal() const;

  private:
    mutable std::optional<Refusal> refusal_;
};

}  // namespace huectl
