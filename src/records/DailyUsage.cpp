#include "records/DailyUsage.h"

#include <algorithm>

namespace vantry {

bool UsageTrend::knowsToday() const {
    if (dayBuckets.empty()) return false;
    const auto isKnown = [&](const UsageHeatmapDay& day) {
        return day.id == dayBuckets.back().id && day.usage;
    };
    // Today lies in the last week, and in the heatmap of a trend that has one.
    return heatmapWeeks.empty() || std::ranges::any_of(heatmapWeeks.back(), isKnown);
}

}  // namespace vantry
