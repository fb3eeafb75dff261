#include "presentation/charts/UsageTrendHover.h"

#include <algorithm>
#include <cmath>

namespace vantry {

std::optional<int> UsageTrendHoverIndexCalculator::index(const Pointer& pointer) {
    if (pointer.count < 1) return std::nullopt;
    if (pointer.count == 1 || !(pointer.lastX > pointer.firstX)) return 0;
    const double ratio = (pointer.locationX - pointer.firstX) / (pointer.lastX - pointer.firstX);
    if (!(ratio > 0)) return 0;  // also where a bound is not finite
    return static_cast<int>(std::round((pointer.count - 1) * std::min(ratio, 1.0)));
}

}  // namespace vantry
