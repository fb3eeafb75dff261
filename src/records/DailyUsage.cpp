#include "records/DailyUsage.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace vantry {

namespace {

std::string dayLabel(std::string_view dayKey) {
    if (dayKey.size() != 10 || dayKey[4] != '-' || dayKey[7] != '-') return std::string(dayKey);
    const auto withoutZero = [](std::string_view twoDigits) {
        return twoDigits.substr(twoDigits.starts_with('0') ? 1 : 0);
    };
    std::string label(withoutZero(dayKey.substr(5, 2)));
    label += '/';
    label += withoutZero(dayKey.substr(8, 2));
    return label;
}

}  // namespace

DailyTokenBucket DailyTokenBucket::of(std::string day, std::int64_t tokens) {
    std::string label = dayLabel(day);
    return {.id = std::move(day), .label = std::move(label), .tokens = tokens};
}

bool UsageTrend::knowsToday() const {
    if (dayBuckets.empty()) return false;
    const auto isKnown = [&](const UsageHeatmapDay& day) {
        return day.id == dayBuckets.back().id && day.usage;
    };
    // Today lies in the last week, and in the heatmap of a trend that has one.
    return heatmapWeeks.empty() || std::ranges::any_of(heatmapWeeks.back(), isKnown);
}

}  // namespace vantry
