/// The bridge's device description, and the answers of the bridge and of other devices in the
/// house's network to a search. Stateless; any thread may call.
#pragma once

#include <string>
#include <vector>

#include "simulator/bridge/SsdpResponder.h"

namespace simulator {

/// The hardware address of the bridge's network interface, in 12 hexadecimal digits.
constexpr const char* kBridgeSerialNumber = "0017880ae670";

/// The text of /description.xml of a bridge at `authority` ("127.0.0.80:80").
std::string bridge_description(const std::string& authority);

/// The bridge's answers, two of them sent twice, mixed with those of a router and a media player.
std::vector<SsdpResponder::Answer> answers_to_search(const std::string& authority);

}  // namespace simulator
