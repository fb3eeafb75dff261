#include "official/HybridDailyUsage.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "statistics/HourlyUsageSeries.h"
#include "statistics/StatisticsWindows.h"
#include "statistics/UsageTrendCalculation.h"

namespace vantry::CodexUsageReader {

namespace {

using TokensByDay = std::map<std::string, std::int64_t, std::less<>>;

/// A day of the trend with its one source.
struct MergedDay {
    std::string key;
    Date start;
    UsageSourceQuality source = UsageSourceQuality::official;
    std::optional<PricedTokenUsage> usage;  ///< absent: not known

    std::int64_t tokens() const { return usage ? usage->tokens.visibleTotalTokens() : 0; }
};

/// What the local logs measured on that day. A trend that was merged before holds official days
/// too, which are no measurement; and without the exact split the logs were not read as a whole.
std::optional<PricedTokenUsage> localFigure(const LocalUsage& local, const std::string& day) {
    if (!local.detailedUsage || !local.usageTrend) return std::nullopt;
    const auto& buckets = local.usageTrend->dayBuckets;
    const auto found = std::ranges::find(buckets, day, &UsageDayBucket::id);
    if (found == buckets.end() || found->sourceQuality != UsageSourceQuality::detailed) {
        return std::nullopt;
    }
    return found->usage;
}

/// The days of the trend, oldest first, today last.
std::vector<MergedDay> mergedDays(const LocalUsage& local, const TokensByDay& official,
                                  const StatisticsWindows& windows, const Calendar& calendar) {
    std::vector<MergedDay> days;
    for (Date start = windows.trendStart;;) {
        MergedDay day{.key = localDayKey(start, calendar), .start = start};
        if (start >= windows.yesterdayStart) day.usage = localFigure(local, day.key);
        if (day.usage) {
            day.source = UsageSourceQuality::detailed;
        } else if (const auto found = official.find(day.key); found != official.end()) {
            day.usage = PricedTokenUsage::totalOnly(found->second);
        }
        days.push_back(std::move(day));
        auto next = calendar.startOfDayAdding(1, start);
        if (!next) next = calendar.startOfDayAdding(2, start);  // the zone left out a day
        if (!next || !(*next <= windows.todayStart)) return days;
        start = *next;
    }
}

// No part of the history can overflow where the whole does not.
bool isSumRepresentable(const std::vector<MergedDay>& days) {
    std::vector<std::int64_t> totals;
    totals.reserve(days.size());
    for (const MergedDay& day : days) totals.push_back(day.tokens());
    return checkedNonnegativeSum(totals).has_value();
}

// The source of a total over all days.
UsageSourceQuality sourceOfTotals(const std::vector<MergedDay>& days) {
    const auto has = [&](UsageSourceQuality quality) {
        return std::ranges::any_of(
            days, [&](const MergedDay& day) { return day.usage && day.source == quality; });
    };
    if (!has(UsageSourceQuality::detailed)) return UsageSourceQuality::official;
    return has(UsageSourceQuality::official) ? UsageSourceQuality::hybrid
                                             : UsageSourceQuality::detailed;
}

bool areKnown(const std::vector<MergedDay>& days, std::size_t lastCount) {
    const auto first = days.end() - static_cast<std::ptrdiff_t>(std::min(lastCount, days.size()));
    return std::all_of(first, days.end(), [](const MergedDay& day) { return !!day.usage; });
}

UsageTrend trendOf(const std::vector<MergedDay>& days, const StatisticsWindows& windows,
                   const Calendar& calendar) {
    std::map<std::string, PricedTokenUsage> usageByDay;
    std::map<std::string, UsageSourceQuality> qualityByDay;
    std::set<std::string> unavailable;
    for (const MergedDay& day : days) {
        qualityByDay.emplace(day.key, day.source);
        if (day.usage) {
            usageByDay.emplace(day.key, *day.usage);
        } else {
            unavailable.insert(day.key);
        }
    }
    UsageTrend trend = makeUsageTrend({.dailyUsage = usageByDay,
                                       .dayStart = windows.todayStart,
                                       .sevenDayStart = windows.sevenDayStart,
                                       .trendStart = windows.trendStart,
                                       .monthStart = windows.monthStart,
                                       .calendar = calendar,
                                       .sourceQuality = sourceOfTotals(days),
                                       .sourceQualityByDay = std::move(qualityByDay),
                                       .unavailableDayKeys = std::move(unavailable)});
    if (!days.back().usage) trend.summary = {};
    if (!areKnown(days, 14)) {
        trend.summary.changePercent.reset();
        trend.summary.isNewActivity = false;
    }
    return trend;
}

/// The totals of the seven days before today, unless one of them is not known.
std::optional<std::vector<std::int64_t>> previousSevenDayTotals(
    const std::vector<MergedDay>& days) {
    constexpr std::size_t count = 7;
    if (days.size() <= count) return std::nullopt;
    std::vector<std::int64_t> totals;
    for (std::size_t i = days.size() - 1 - count; i < days.size() - 1; ++i) {
        if (!days[i].usage) return std::nullopt;
        totals.push_back(days[i].tokens());
    }
    return totals;
}

void rebuildDetail(DetailedUsage& detail, const UsageTrend& trend,
                   const std::vector<MergedDay>& days) {
    detail.sevenDay = trend.summary.sevenDay;
    detail.month = trend.month;
    const auto totals = previousSevenDayTotals(days);
    if (!totals) return;
    auto& curve = detail.previousSevenDayAverageCumulativeBuckets;
    auto calibrated =
        HourlyUsageSeriesCalculator::calibratedPreviousAverageCumulativeBuckets(curve, *totals);
    if (calibrated) curve = std::move(calibrated);
}

std::vector<DailyTokenBucket> knownBuckets(const std::vector<MergedDay>& days) {
    std::vector<DailyTokenBucket> buckets;
    for (const MergedDay& day : days) {
        if (!day.usage) continue;
        buckets.push_back(DailyTokenBucket::of(day.key, day.tokens()));
    }
    return buckets;
}

}  // namespace

HybridDailyUsage mergeCloudDailyUsage(CloudDailyUsageMerge merge) {
    HybridDailyUsage result{.local = std::move(merge.into), .messages = {}};
    if (!merge.cloudDailyBuckets) {
        result.messages.push_back({NoticeKind::officialDaysUnavailable});
        return result;
    }
    TokensByDay official;
    for (const DailyTokenBucket& bucket : *merge.cloudDailyBuckets) {
        official.emplace(bucket.id, bucket.tokens);
    }
    const StatisticsWindows windows = StatisticsWindows::of(merge.context.statistics);
    const Calendar calendar = merge.context.statistics.calendar();
    LocalUsage& local = result.local;
    const std::vector<MergedDay> days = mergedDays(local, official, windows, calendar);
    const MergedDay& today = days.back();
    local.todayTokens.reset();
    local.sevenDayTokens.reset();
    if (today.usage) {
        local.todayTokens = today.tokens();
    } else {
        result.messages.push_back({NoticeKind::officialDaysWithoutToday});
    }
    if (!isSumRepresentable(days)) {
        result.messages.push_back({NoticeKind::mergedTokensOverflow});
        local.usageTrend.reset();
        local.dailyBuckets.clear();
        return result;
    }
    local.usageTrend = trendOf(days, windows, calendar);
    local.dailyBuckets = knownBuckets(days);
    if (today.usage) {
        local.sevenDayTokens = local.usageTrend->summary.sevenDay.tokens.visibleTotalTokens();
    }
    if (local.detailedUsage) rebuildDetail(*local.detailedUsage, *local.usageTrend, days);
    return result;
}

}  // namespace vantry::CodexUsageReader
