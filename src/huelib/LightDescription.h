/// The part of a bridge's description of a light that is stored: the members that are read later.
///
/// A description is stored as long as the program runs, and a bridge can send one as large as an
/// answer may be. Pure functions.
#pragma once

#include <cstddef>
#include <string>

#include <json/value.h>

namespace LightDescription {

/// A longer text is cut; a bridge allows 32 characters for a name.
constexpr std::size_t kMaxTextBytes = 256;

/// An object with "state" and the identity of the light; null if `description` is not an object
/// with a "state". Numbers and booleans are unchanged; arrays and objects are left out where a
/// single value is expected.
Json::Value kept(const Json::Value& description);

/// A copy of at most kMaxTextBytes that occupies no more than that.
std::string keptText(const std::string& text);

}  // namespace LightDescription
