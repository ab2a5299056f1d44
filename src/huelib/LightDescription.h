/// What is kept of a bridge's description of a light: the members that somebody reads.
///
/// A description stays for years, and a bridge may send as much as an answer may hold. Stateless;
/// any thread may call.
#pragma once

#include <cstddef>
#include <string>

#include <json/value.h>

namespace LightDescription {

/// A longer text is cut; the bridge's own limit is 32 characters for a name.
constexpr std::size_t kMaxTextBytes = 256;

/// An object with "state" and the identity of the light, null when `description` is no object with
/// a "state". Numbers and booleans are as they were; what is nested deeper than anybody reads is
/// left out.
Json::Value kept(const Json::Value& description);

/// A copy of at most kMaxTextBytes that occupies no more than that.
std::string keptText(const std::string& text);

}  // namespace LightDescription
