/// The colour temperatures that a bridge accepts, in mired.
#pragma once

#include <algorithm>

/// The limits.
constexpr unsigned int kColdestMired = 153;
constexpr unsigned int kWarmestMired = 500;

/// The nearest value within the limits.
constexpr unsigned int clampMired(unsigned int mired) {
    return std::clamp(mired, kColdestMired, kWarmestMired);
}
