#pragma once

#include <optional>

#include "statistics/StatisticsContext.h"

namespace vantry {

/// The bounds of the time windows that statistics speak of, found once for a batch. Each start is
/// the first instant of its day in the statistics zone.
struct StatisticsWindows {
    Date now;
    Date todayStart;
    Date tomorrowStart;
    Date yesterdayStart;
    Date sevenDayStart;   ///< today and the six days before
    Date thirtyDayStart;  ///< today and the 29 days before
    Date monthStart;
    Date trendStart;  ///< today and the 190 days before

    static StatisticsWindows of(const StatisticsContext& statistics);

    bool isToday(Date date) const { return date >= todayStart && date < tomorrowStart; }

    friend bool operator==(const StatisticsWindows&, const StatisticsWindows&) = default;
};

}  // namespace vantry
