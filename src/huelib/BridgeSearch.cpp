#include "huelib/BridgeSearch.h"

std::vector<BridgeSearch::Bridge> BridgeSearch::find() const {
    return {};
}
