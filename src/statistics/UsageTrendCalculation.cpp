#include "statistics/UsageTrendCalculation.h"

#include <algorithm>
#include <vector>

#include "statistics/StatisticsContext.h"
#include "statistics/UsageHeatmap.h"

namespace vantry::CodexUsageReader {

namespace {

std::vector<UsageDayBucket> dayBuckets(const UsageTrendRequest& request) {
    const Calendar& calendar = request.calendar;
    const auto first = calendar.startOfDay(request.trendStart);
    const auto end = calendar.startOfDay(request.dayStart);
    if (!first || !end) return {};
    const Date yesterday = calendar.startOfDayAdding(-1, *end).value_or(*end);
    // Dates up to today, also where the zone left out a day and an hour on the way.
    const int dayCount = static_cast<int>((*end - *first) / 86'400) + 3;

    std::vector<UsageDayBucket> buckets;
    for (int day = 0; day < dayCount; ++day) {
        const auto date = calendar.startOfDateAdding(day, *first);
        if (!date) continue;
        if (*date > *end) break;
        UsageDayBucket& bucket =
            buckets.emplace_back(UsageDayBucket{.id = localDayKey(*date, calendar), .date = *date});
        if (const auto found = request.dailyUsage.find(bucket.id);
            found != request.dailyUsage.end()) {
            bucket.usage = found->second;
        }
        if (request.unavailableDayKeys.contains(bucket.id)) bucket.usage.estimatedCostUSD.reset();
        bucket.sourceQuality = request.sourceQuality;
        if (request.sourceQuality == UsageSourceQuality::hybrid && *date < yesterday) {
            bucket.sourceQuality = UsageSourceQuality::official;
        }
        if (const auto found = request.sourceQualityByDay.find(bucket.id);
            found != request.sourceQualityByDay.end()) {
            bucket.sourceQuality = found->second;
        }
    }
    return buckets;
}

// Buckets are in the order of time.
std::span<const UsageDayBucket> bucketsFrom(Date start, std::span<const UsageDayBucket> buckets) {
    const auto first = std::ranges::find_if(
        buckets, [&](const UsageDayBucket& bucket) { return bucket.date >= start; });
    return {first, buckets.end()};
}

// The month's cost so far, spread over all of its days: nothing where a day of it has no price. The
// first of a month is too little to go by.
std::optional<double> projectedMonthCostUSD(std::optional<double> costUSD, Date dayStart,
                                            const Calendar& calendar) {
    const auto today = calendar.day(dayStart);
    const auto daysInMonth = calendar.daysInMonth(dayStart);
    if (!today || today->day < 2 || !daysInMonth || !(costUSD > 0.0)) return std::nullopt;
    return *daysInMonth * (*costUSD / today->day);
}

std::int64_t activeDayCount(const std::vector<std::vector<UsageHeatmapDay>>& weeks) {
    std::int64_t count = 0;
    for (const auto& days : weeks) {
        count += std::ranges::count_if(days, [](const UsageHeatmapDay& day) {
            return !day.isFuture && day.usage && day.usage->tokens.visibleTotalTokens() > 0;
        });
    }
    return count;
}

}  // namespace

std::int64_t visibleTokens(std::span<const UsageDayBucket> buckets) {
    std::int64_t sum = 0;
    for (const UsageDayBucket& bucket : buckets) sum = saturatingAdd(sum, visibleTokens(bucket));
    return sum;
}

PricedTokenUsage totalUsage(std::span<const UsageDayBucket> buckets) {
    PricedTokenUsage sum;
    for (const UsageDayBucket& bucket : buckets) {
        sum.add(bucket.usage.tokens, bucket.usage.estimatedCostUSD);
    }
    return sum;
}

std::optional<UsageDayBucket> peakDay(std::span<const UsageDayBucket> buckets) {
    const auto peak = std::ranges::max_element(
        buckets, {}, [](const UsageDayBucket& bucket) { return visibleTokens(bucket); });
    if (peak == buckets.end() || visibleTokens(*peak) <= 0) return std::nullopt;
    return *peak;
}

UsageChange usageChange(const UsagePeriods& periods) {
    if (periods.previous <= 0) return {.isNewActivity = periods.current > 0};
    const auto current = static_cast<double>(periods.current);
    const auto previous = static_cast<double>(periods.previous);
    return {.percent = (current - previous) / previous * 100};
}

UsageTrend makeUsageTrend(const UsageTrendRequest& request) {
    UsageTrend trend{.dayBuckets = dayBuckets(request), .sourceQuality = request.sourceQuality};
    const std::span<const UsageDayBucket> all = trend.dayBuckets;
    const auto sevenDays = bucketsFrom(request.sevenDayStart, all);
    const auto earlier = all.first(all.size() - sevenDays.size());
    const Date previousStart = request.calendar.startOfDayAdding(-7, request.sevenDayStart)
                                   .value_or(request.sevenDayStart);
    const auto previousSevenDays = bucketsFrom(previousStart, earlier);

    trend.summary.sevenDay = totalUsage(sevenDays);
    const std::int64_t current = trend.summary.sevenDay.tokens.visibleTotalTokens();
    const UsageChange change =
        usageChange({.current = current, .previous = visibleTokens(previousSevenDays)});
    trend.summary.dailyAverageTokens = current / 7;
    trend.summary.peakDay = peakDay(sevenDays);
    trend.summary.changePercent = change.percent;
    trend.summary.isNewActivity = change.isNewActivity;

    trend.month = totalUsage(bucketsFrom(request.monthStart, all));
    trend.projectedMonthCostUSD =
        projectedMonthCostUSD(trend.month.estimatedCostUSD, request.dayStart, request.calendar);

    UsageHeatmap heatmap = makeHeatmapData({.buckets = all,
                                            .endDate = request.dayStart,
                                            .calendar = request.calendar,
                                            .unavailableDayKeys = request.unavailableDayKeys});
    trend.heatmapWeeks = std::move(heatmap.weeks);
    trend.heatmapThresholds = std::move(heatmap.thresholds);
    trend.activeDayCount = activeDayCount(trend.heatmapWeeks);
    return trend;
}

}  // namespace vantry::CodexUsageReader
