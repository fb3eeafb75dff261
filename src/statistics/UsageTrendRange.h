#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "records/DailyUsage.h"

namespace vantry {

/// How many days a chart shows, today included.
enum class UsageTrendRange : std::uint8_t { sevenDays = 7, thirtyDays = 30, ninetyDays = 90 };

inline constexpr std::array allUsageTrendRanges{
    UsageTrendRange::sevenDays, UsageTrendRange::thirtyDays, UsageTrendRange::ninetyDays};

constexpr std::size_t dayCount(UsageTrendRange range) {
    return static_cast<std::size_t>(range);
}

/// The longest range for which there are buckets.
std::optional<UsageTrendRange> largestAvailableTrendRange(std::size_t bucketCount);

struct UsageTrendRangeChoice {
    UsageTrendRange selected = UsageTrendRange::sevenDays;
    std::size_t bucketCount = 0;
};

/// The chosen range, or the longest of 30 and 7 days for which there are buckets.
std::optional<UsageTrendRange> resolvedTrendRange(const UsageTrendRangeChoice& choice);

/// The last days of a trend against as many days before them.
struct UsageTrendRangePresentation {
    std::vector<UsageDayBucket> buckets;
    PricedTokenUsage totalUsage;
    std::int64_t dailyAverageTokens = 0;
    std::optional<UsageDayBucket> peakDay;
    std::optional<double> changePercent;  ///< absent also where the days before are not complete
    bool isNewActivity = false;

    friend bool operator==(const UsageTrendRangePresentation&,
                           const UsageTrendRangePresentation&) = default;
};

namespace UsageTrendRangeCalculator {

/// Buckets are the days in order, oldest first. Nothing where there are fewer than the range has.
std::optional<UsageTrendRangePresentation> presentation(std::span<const UsageDayBucket> buckets,
                                                        UsageTrendRange range);

}  // namespace UsageTrendRangeCalculator

}  // namespace vantry
