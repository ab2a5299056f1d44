/// Reads what a device says of itself, in the forms in which bridges of all makes say it. Any
/// thread may call.
#pragma once

#include <string>
#include <string_view>

#include "huelib/BridgeSearch.h"

namespace BridgeTexts {

/// An ID in capitals; empty unless it has 16 hexadecimal digits.
std::string bridgeId(std::string_view text);
/// The text; empty if it is longer than 100 bytes, as no text of a bridge is.
std::string shortText(std::string text);

/// Fills in all texts from the answer to GET /api/config. False if the answer has no valid bridge
/// ID; `bridge` is then unchanged.
bool readConfig(const std::string& answer, BridgeSearch::Bridge& bridge);
/// Fills in ID, name and model from description.xml, without decoding XML entities. False if its
/// model is not a Hue bridge; `bridge` is then unchanged.
bool readDescription(std::string_view answer, BridgeSearch::Bridge& bridge);

}  // namespace BridgeTexts
