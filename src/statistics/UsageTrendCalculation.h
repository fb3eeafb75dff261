#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>

#include "platform/Calendar.h"
#include "records/DailyUsage.h"

namespace vantry::CodexUsageReader {

/// All starts are first instants of their days in the calendar.
struct UsageTrendRequest {
    const std::map<std::string, PricedTokenUsage>& dailyUsage;  ///< by day key
    Date dayStart;                                              ///< today
    Date sevenDayStart;
    Date trendStart;
    Date monthStart;
    const Calendar& calendar;
    /// With `hybrid` the days before yesterday are `official`.
    UsageSourceQuality sourceQuality = UsageSourceQuality::detailed;
    /// By day key; goes before `sourceQuality`.
    std::map<std::string, UsageSourceQuality> sourceQualityByDay;
    /// Days that the heatmap shows as not known.
    std::set<std::string> unavailableDayKeys;
};

/// What the daily views show of the days from the start of the trend through today. A day without
/// usage has a bucket of zero; a day that the zone left out has none. Empty of days where a bound
/// has no day.
UsageTrend makeUsageTrend(const UsageTrendRequest& request);

/// The total that every figure of a day is made of.
inline std::int64_t visibleTokens(const UsageDayBucket& bucket) {
    return bucket.usage.tokens.visibleTotalTokens();
}

/// The sum of the days' own totals. It can be larger than the total of `totalUsage`.
std::int64_t visibleTokens(std::span<const UsageDayBucket> buckets);

/// The sum of every field and of the cost.
PricedTokenUsage totalUsage(std::span<const UsageDayBucket> buckets);

/// The day of most tokens, the first of equals. Nothing where no day has tokens above zero.
std::optional<UsageDayBucket> peakDay(std::span<const UsageDayBucket> buckets);

/// Tokens of two periods of the same length.
struct UsagePeriods {
    std::int64_t current = 0;
    std::int64_t previous = 0;
};

struct UsageChange {
    std::optional<double> percent;  ///< absent where nothing was used before
    bool isNewActivity = false;     ///< something is used now, and nothing was before

    friend bool operator==(const UsageChange&, const UsageChange&) = default;
};

UsageChange usageChange(const UsagePeriods& periods);

}  // namespace vantry::CodexUsageReader
