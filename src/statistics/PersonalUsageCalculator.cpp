#include "statistics/PersonalUsageCalculator.h"

#include <algorithm>
#include <chrono>

#include "statistics/DayKey.h"

namespace vantry {

double TokenGoalProgress::fraction() const {
    if (!isSet()) return 0;
    return static_cast<double>(std::max<std::int64_t>(current, 0)) / static_cast<double>(goal);
}

namespace PersonalUsageCalculator {

namespace {

using std::chrono::sys_days;
using std::chrono::year_month;

// Days are compared as such, so that no clock change and no zone's midnight comes between them.

std::optional<sys_days> dayOf(Date date, const Calendar& calendar) {
    const auto day = calendar.day(date);
    return day ? countedDay(*day) : std::nullopt;
}

sys_days mondayBefore(sys_days day) {
    return day - (std::chrono::weekday(day) - std::chrono::Monday);
}

sys_days renewalIn(const year_month& month, std::chrono::day storedDay) {
    return month / std::min(storedDay, (month / std::chrono::last).day());
}

struct Span {
    sys_days today;
    sys_days renewal;  ///< today or later
};
std::optional<Span> untilRenewal(const Renewal& renewal) {
    const auto today = dayOf(renewal.now, renewal.calendar);
    const auto stored = renewal.renewalDay ? countedDay(*renewal.renewalDay) : std::nullopt;
    if (!today || !stored) return std::nullopt;
    const std::chrono::year_month_day date(*today);
    const year_month month = date.year() / date.month();
    const std::chrono::day storedDay = std::chrono::year_month_day(*stored).day();
    sys_days next = renewalIn(month, storedDay);
    if (next < *today) next = renewalIn(month + std::chrono::months(1), storedDay);
    return Span{.today = *today, .renewal = next};
}

}  // namespace

PersonalTokenTotals tokenTotals(const DailyBuckets& buckets) {
    PersonalTokenTotals totals;
    const auto today = dayOf(buckets.now, buckets.calendar);
    if (!today) return totals;
    const sys_days monday = mondayBefore(*today);
    for (const DailyTokenBucket& bucket : buckets.from) {
        const auto key = dayOfKey(bucket.id);
        const auto day = key ? countedDay(*key) : std::nullopt;
        if (!day) continue;
        if (*day == *today) totals.todayTokens = saturatingAdd(totals.todayTokens, bucket.tokens);
        if (*day >= monday && *day < monday + std::chrono::weeks(1)) {
            totals.weekTokens = saturatingAdd(totals.weekTokens, bucket.tokens);
        }
    }
    return totals;
}

PersonalTokenGoalTotals goalTotals(const GoalTotals& values) {
    const Calendar calendar = values.statistics.calendar();
    const auto today = dayOf(values.statistics.now(), calendar);
    const bool isOfToday =
        today && today == dayOf(values.snapshotStatistics.now, calendar) &&
        values.snapshotStatistics.resolvedIdentifier == values.statistics.resolvedIdentifier();
    if (!isOfToday) return PersonalTokenGoalTotals::unavailable();
    PersonalTokenGoalTotals totals{.todayTokens = values.todayTokens};
    if (values.weekHistoryAvailable && values.from && !values.from->empty()) {
        totals.weekTokens =
            tokenTotals(
                {.from = *values.from, .calendar = calendar, .now = values.statistics.now()})
                .weekTokens;
    }
    return totals;
}

std::optional<TokenGoalProgress> goalProgress(const GoalAmounts& amounts) {
    if (!amounts.current) return std::nullopt;
    return TokenGoalProgress{.current = *amounts.current, .goal = amounts.goal};
}

std::optional<CalendarDay> nextRenewalDay(const Renewal& renewal) {
    const auto span = untilRenewal(renewal);
    return span ? std::optional(calendarDay(span->renewal)) : std::nullopt;
}

std::optional<std::int64_t> wholeDaysUntilRenewal(const Renewal& renewal) {
    const auto span = untilRenewal(renewal);
    return span ? std::optional<std::int64_t>((span->renewal - span->today).count()) : std::nullopt;
}

}  // namespace PersonalUsageCalculator

}  // namespace vantry
