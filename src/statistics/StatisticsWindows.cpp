#include "statistics/StatisticsWindows.h"

namespace vantry {

StatisticsWindows StatisticsWindows::of(const StatisticsContext& statistics) {
    const Calendar calendar = statistics.calendar();
    const Date today = calendar.startOfDay(statistics.now()).value_or(statistics.now());
    const auto startOf = [&](int days) {
        return calendar.startOfDayAdding(days, today).value_or(today);
    };
    const int dayOfMonth = calendar.day(today).value_or(CalendarDay{.day = 1}).day;
    return {.now = statistics.now(),
            .todayStart = today,
            .tomorrowStart = startOf(1),
            .yesterdayStart = startOf(-1),
            .sevenDayStart = startOf(-6),
            .thirtyDayStart = startOf(-29),
            .monthStart = calendar.startOfDateAdding(1 - dayOfMonth, today).value_or(today),
            .trendStart = startOf(-190)};
}

}  // namespace vantry
