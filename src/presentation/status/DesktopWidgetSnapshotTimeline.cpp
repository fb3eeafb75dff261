#include "presentation/status/DesktopWidgetSnapshotTimeline.h"

#include <algorithm>
#include <cmath>

#include "official/QuotaWindow.h"
#include "statistics/StatisticsContext.h"

namespace vantry::DesktopWidgetTimelinePolicy {

namespace {

constexpr double countdownStep = 360.0;  // a tenth of an hour, in seconds

// The countdown rounds up, so that its text changes at whole steps before the end.
void appendCountdown(std::vector<Date>& dates, Date end, Date now) {
    constexpr double farthest = 1e12;  // beyond it dates skip tenths of a millisecond
    const double left = end - now;
    if (!(left > 0 && left < farthest)) return;
    for (double steps = std::floor(left / countdownStep); steps >= 1; --steps) {
        const Date change = end - steps * countdownStep;
        if (change > now + refreshInterval) return;
        dates.push_back(change);
    }
}

}  // namespace

bool isStale(const Freshness& freshness) {
    const auto& [capturedAt, markedStale, now] = freshness;
    return markedStale || !capturedAt || !(now - *capturedAt < freshnessInterval);
}

std::vector<Date> entryDates(const DesktopWidgetSnapshot& snapshot, Date now,
                             const TimeZone& fallback) {
    if (!now.isFinite()) return {now};
    std::vector<Date> dates{now, now + refreshInterval};
    const auto append = [&](const std::optional<Date>& date) {
        if (date) dates.push_back(*date);
    };
    const auto fiveHourEnd = QuotaWindowPresentation::expiresAt(
        {.resetsAt = snapshot.fiveHourResetsAt,
         .capturedAt = snapshot.quotaCapturedAt,
         .windowDurationMins = snapshot.fiveHourWindowDurationMins});
    append(fiveHourEnd);
    append(QuotaWindowPresentation::expiresAt(
        {.resetsAt = snapshot.sevenDayResetsAt,
         .capturedAt = snapshot.quotaCapturedAt,
         .windowDurationMins = snapshot.sevenDayWindowDurationMins}));
    for (const auto& capturedAt : {snapshot.quotaCapturedAt, snapshot.localUsageCapturedAt}) {
        if (capturedAt) append(*capturedAt + freshnessInterval);
    }
    if (fiveHourEnd && snapshot.fiveHourPercent(now)) appendCountdown(dates, *fiveHourEnd, now);
    if (snapshot.isCurrentStatisticsDay(now, fallback)) {
        const Calendar calendar =
            StatisticsContext::calendar(snapshot.statisticsTimeZoneIdentifier, fallback);
        append(calendar.startOfDayAdding(1, now));
    }

    std::erase_if(dates, [&](Date date) { return !date.isFinite() || date < now; });
    std::ranges::sort(dates, [](Date first, Date second) { return first < second; });
    dates.erase(std::unique(dates.begin(), dates.end()), dates.end());
    return dates;
}

}  // namespace vantry::DesktopWidgetTimelinePolicy
