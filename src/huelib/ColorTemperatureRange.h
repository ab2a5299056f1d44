/// The colour temperatures that a bridge takes.
#pragma once

#include <algorithm>

constexpr unsigned int kColdestMired = 153;
constexpr unsigned int kWarmestMired = 500;

constexpr unsigned int clampMired(unsigned int mired) {
    return std::clamp(mired, kColdestMired, kWarmestMired);
}
