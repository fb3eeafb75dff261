#include "session/DesktopWidgetSnapshot.h"

#include <tuple>

#include "official/QuotaWindow.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

namespace {

// A surface that lives would clamp the percentage; here it may come from a damaged file.
std::optional<double> percentInRange(std::optional<double> percent,
                                     const QuotaWindowPresentation::WindowTimes& times) {
    if (!percent || !(*percent >= 0 && *percent <= 100)) return std::nullopt;
    return QuotaWindowPresentation::validRemainingPercent(percent, times);
}

auto quotaContent(const DesktopWidgetSnapshot& s) {
    return std::tie(s.quotaCapturedAt, s.quotaIsStale, s.fiveHourRemainingPercent,
                    s.fiveHourResetsAt, s.fiveHourWindowDurationMins, s.sevenDayRemainingPercent,
                    s.sevenDayResetsAt, s.sevenDayWindowDurationMins);
}

}  // namespace

std::optional<double> DesktopWidgetSnapshot::fiveHourPercent(Date at) const {
    return percentInRange(fiveHourRemainingPercent,
                          {.resetsAt = fiveHourResetsAt,
                           .capturedAt = quotaCapturedAt,
                           .windowDurationMins = fiveHourWindowDurationMins,
                           .now = at});
}

std::optional<double> DesktopWidgetSnapshot::sevenDayPercent(Date at) const {
    return percentInRange(sevenDayRemainingPercent,
                          {.resetsAt = sevenDayResetsAt,
                           .capturedAt = quotaCapturedAt,
                           .windowDurationMins = sevenDayWindowDurationMins,
                           .now = at});
}

bool DesktopWidgetSnapshot::isCurrentStatisticsDay(Date at, const TimeZone& fallback) const {
    const Calendar calendar = StatisticsContext::calendar(statisticsTimeZoneIdentifier, fallback);
    return localDayKey(at, calendar) == statisticsDayKey;
}

std::optional<std::int64_t> DesktopWidgetSnapshot::currentTodayTokens(Date at) const {
    return isCurrentStatisticsDay(at) ? todayTokens : std::nullopt;
}

std::optional<std::int64_t> DesktopWidgetSnapshot::currentSevenDayTokens(Date at) const {
    return isCurrentStatisticsDay(at) ? sevenDayTokens : std::nullopt;
}

bool DesktopWidgetSnapshot::hasSameQuotaContent(const DesktopWidgetSnapshot& other) const {
    return quotaContent(*this) == quotaContent(other);
}

}  // namespace vantry
