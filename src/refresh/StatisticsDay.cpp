#include "refresh/StatisticsDay.h"

#include "statistics/StatisticsContext.h"

namespace vantry {

bool sameStatisticsDay(const StatisticsIdentity& previous, const StatisticsIdentity& incoming) {
    if (previous.resolvedIdentifier != incoming.resolvedIdentifier) return false;
    const Calendar calendar =
        StatisticsContext::calendar(incoming.resolvedIdentifier, TimeZone::utc());
    return localDayKey(previous.now, calendar) == localDayKey(incoming.now, calendar);
}

LocalUsage withoutDayBoundFigures(LocalUsage usage) {
    usage.todayTokens.reset();
    usage.sevenDayTokens.reset();
    usage.detailedUsage.reset();
    usage.usageTrend.reset();
    usage.projectBoard.reset();
    return usage;
}

}  // namespace vantry
