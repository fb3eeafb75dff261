#pragma once

#include <optional>

namespace vantry {

namespace UsageTrendHoverIndexCalculator {

/// A pointer over a line of points that lie evenly from `firstX` to `lastX`; all in one unit.
struct Pointer {
    double locationX = 0;
    double firstX = 0;
    double lastX = 0;
    int count = 0;  ///< of points
};

/// The nearest point. Nothing where there is none.
std::optional<int> index(const Pointer& pointer);

}  // namespace UsageTrendHoverIndexCalculator

}  // namespace vantry
