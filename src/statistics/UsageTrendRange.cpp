#include "statistics/UsageTrendRange.h"

#include <algorithm>
#include <cmath>

#include "statistics/UsageTrendCalculation.h"

namespace vantry {

std::optional<UsageTrendRange> largestAvailableTrendRange(std::size_t bucketCount) {
    return resolvedTrendRange(
        {.selected = UsageTrendRange::ninetyDays, .bucketCount = bucketCount});
}

std::optional<UsageTrendRange> resolvedTrendRange(const UsageTrendRangeChoice& choice) {
    for (const UsageTrendRange range :
         {choice.selected, UsageTrendRange::thirtyDays, UsageTrendRange::sevenDays}) {
        if (choice.bucketCount >= dayCount(range)) return range;
    }
    return std::nullopt;
}

std::optional<UsageTrendRangePresentation> UsageTrendRangeCalculator::presentation(
    std::span<const UsageDayBucket> buckets, UsageTrendRange range) {
    const std::size_t days = dayCount(range);
    if (buckets.size() < days) return std::nullopt;
    const auto current = buckets.last(days);
    const auto earlier = buckets.first(buckets.size() - days);
    UsageTrendRangePresentation result{.buckets = {current.begin(), current.end()},
                                       .totalUsage = CodexUsageReader::totalUsage(current),
                                       .peakDay = CodexUsageReader::peakDay(current)};
    const std::int64_t tokens = result.totalUsage.tokens.visibleTotalTokens();
    result.dailyAverageTokens = tokens / static_cast<std::int64_t>(days);
    if (earlier.size() < days) return result;
    const std::int64_t before = CodexUsageReader::visibleTokens(earlier.last(days));
    const auto change = CodexUsageReader::usageChange({.current = tokens, .previous = before});
    result.changePercent = change.percent;
    result.isNewActivity = change.isNewActivity;
    return result;
}

}  // namespace vantry
