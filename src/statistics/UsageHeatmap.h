#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/Calendar.h"
#include "records/DailyUsage.h"

namespace vantry::CodexUsageReader {

struct UsageHeatmap {
    std::vector<std::vector<UsageHeatmapDay>> weeks;  ///< oldest first, each from Monday to Sunday
    std::vector<std::int64_t> thresholds;             ///< four, ascending

    friend bool operator==(const UsageHeatmap&, const UsageHeatmap&) = default;
};

struct UsageHeatmapRequest {
    std::span<const UsageDayBucket> buckets;
    Date endDate;  ///< a time of the last day that is not future
    int weekCount = 26;
    const Calendar& calendar;
    const std::set<std::string>& unavailableDayKeys;  ///< nothing is known of these days
};

/// The weeks up to the one that holds the end, that one in full. A day without a bucket has no
/// usage. A day that the zone left out is left out of its week.
UsageHeatmap makeHeatmapData(const UsageHeatmapRequest& request);

/// The first instant of the week, which begins on Monday in every zone. The date itself where the
/// calendar cannot tell.
Date weekStart(Date date, const Calendar& calendar);

/// What separates the tiers of days, from totals above zero in ascending order: fifths of the
/// largest for fewer than five totals, else quantiles.
std::vector<std::int64_t> heatmapThresholds(std::span<const std::int64_t> ascendingTotals);

/// The value at a fraction, 0 to 1, of an ascending list; at least 1.
std::int64_t quantile(std::span<const std::int64_t> ascendingValues, double fraction);

}  // namespace vantry::CodexUsageReader
