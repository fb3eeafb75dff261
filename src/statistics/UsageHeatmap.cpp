#include "statistics/UsageHeatmap.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <unordered_map>

#include "statistics/StatisticsContext.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr int daysOfWeek = 7;

}  // namespace

Date weekStart(Date date, const Calendar& calendar) {
    const auto weekday = calendar.weekday(date);
    if (!weekday) return date;
    return calendar.startOfDateAdding(-((*weekday + 5) % daysOfWeek), date).value_or(date);
}

UsageHeatmap makeHeatmapData(const UsageHeatmapRequest& request) {
    const Calendar& calendar = request.calendar;
    const Date end = calendar.startOfDay(request.endDate).value_or(request.endDate);
    const Date lastWeek = weekStart(end, calendar);
    const Date firstWeek =
        calendar.startOfDateAdding(-daysOfWeek * (request.weekCount - 1), lastWeek)
            .value_or(lastWeek);

    std::unordered_map<std::string_view, const UsageDayBucket*> bucketsByKey;
    for (const UsageDayBucket& bucket : request.buckets) bucketsByKey.emplace(bucket.id, &bucket);

    UsageHeatmap heatmap;
    std::vector<std::int64_t> totals;
    for (int week = 0; week < request.weekCount; ++week) {
        auto& days = heatmap.weeks.emplace_back();
        for (int day = 0; day < daysOfWeek; ++day) {
            const auto date = calendar.startOfDateAdding(week * daysOfWeek + day, firstWeek);
            if (!date) continue;
            UsageHeatmapDay& cell = days.emplace_back(UsageHeatmapDay{
                .id = localDayKey(*date, calendar), .date = *date, .isFuture = *date > end});
            if (cell.isFuture || request.unavailableDayKeys.contains(cell.id)) continue;
            const auto found = bucketsByKey.find(cell.id);
            if (found == bucketsByKey.end()) continue;
            cell.usage = found->second->usage;
            const std::int64_t total = cell.usage->tokens.visibleTotalTokens();
            if (total > 0) totals.push_back(total);
        }
    }
    std::ranges::sort(totals);
    heatmap.thresholds = heatmapThresholds(totals);
    return heatmap;
}

std::vector<std::int64_t> heatmapThresholds(std::span<const std::int64_t> ascendingTotals) {
    std::vector<std::int64_t> thresholds;
    if (ascendingTotals.size() >= 5) {
        for (const double fraction : {0.25, 0.5, 0.75, 0.9}) {
            thresholds.push_back(quantile(ascendingTotals, fraction));
        }
        return thresholds;
    }
    const std::int64_t peak =
        ascendingTotals.empty() ? 1 : std::max<std::int64_t>(ascendingTotals.back(), 1);
    for (std::int64_t fifths = 1; fifths < 5; ++fifths) {
        // In two parts, as the product of a large peak does not fit.
        const std::int64_t threshold = peak / 5 * fifths + peak % 5 * fifths / 5;
        thresholds.push_back(std::max<std::int64_t>(threshold, 1));
    }
    return thresholds;
}

std::int64_t quantile(std::span<const std::int64_t> ascendingValues, double fraction) {
    if (ascendingValues.empty()) return 1;
    const std::size_t last = ascendingValues.size() - 1;
    const double wanted = std::round(fraction * static_cast<double>(last));
    std::size_t index = 0;  // also for a fraction that is not a number
    if (wanted > 0) {
        index = wanted < static_cast<double>(last) ? static_cast<std::size_t>(wanted) : last;
    }
    return std::max<std::int64_t>(ascendingValues[index], 1);
}

}  // namespace vantry::CodexUsageReader
