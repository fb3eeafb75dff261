#include "session/DesktopWidgetSnapshotBuilder.h"

#include <cmath>

namespace vantry {

namespace {

std::optional<double> remainingPercent(const RateWindow& window) {
    const double percent = 100.0 - window.usedPercent;
    return std::isfinite(percent) ? std::optional(percent) : std::nullopt;
}

bool isOfDay(const StatisticsIdentity& identity, const StatisticsContext& statistics) {
    return identity.resolvedIdentifier == statistics.resolvedIdentifier() &&
           statistics.dayKey(identity.now) == statistics.currentDayKey();
}

}  // namespace

std::optional<DesktopWidgetSnapshot> makeDesktopWidgetSnapshot(
    const MultiRuntimeUsageSnapshot& published, const StatisticsContext& statistics) {
    const RuntimeUsageSnapshot* codex = published.runtime(RuntimeScope::codex);
    if (codex == nullptr) return std::nullopt;
    const UsageSnapshot& source = codex->snapshot;
    DesktopWidgetSnapshot result{
        .generatedAt = statistics.now(),
        .statisticsTimeZoneIdentifier = statistics.resolvedIdentifier(),
        .statisticsDayKey = statistics.currentDayKey(),
        .quotaCapturedAt = codex->quotaCapturedAt,
        .quotaIsStale = codex->status == RuntimeMenuStatus::stale,
        .localUsageCapturedAt = source.localUsageCapturedAt,
        .localUsageIsStale = source.localUsageIsStale,
    };
    if (const auto& window = source.primary) {
        result.fiveHourRemainingPercent = remainingPercent(*window);
        result.fiveHourResetsAt = window->resetsAt;
        result.fiveHourWindowDurationMins = window->windowDurationMins;
    }
    if (const auto& window = source.secondary) {
        result.sevenDayRemainingPercent = remainingPercent(*window);
        result.sevenDayResetsAt = window->resetsAt;
        result.sevenDayWindowDurationMins = window->windowDurationMins;
    }
    if (source.local && isOfDay(published.statisticsIdentity, statistics)) {
        result.todayTokens = codex->todayTokens();
        result.sevenDayTokens = source.local->sevenDayTokens;
    }
    return result;
}

}  // namespace vantry
