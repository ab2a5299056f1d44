/// The search for bridges with its progress on the terminal.
#pragma once

#include <vector>

#include "huelib/BridgeSearch.h"

namespace huectl {

/// As BridgeSearch::find(). Throws a Failure with advice if the network cannot be searched.
std::vector<BridgeSearch::Bridge> find_bridges();

}  // namespace huectl
