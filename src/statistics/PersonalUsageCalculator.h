#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "records/DailyUsage.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

/// How far a goal is reached.
struct TokenGoalProgress {
    std::int64_t current = 0;
    std::int64_t goal = 0;

    bool isSet() const { return goal > 0; }
    /// 0 without a goal; above 1 beyond it.
    double fraction() const;

    friend bool operator==(const TokenGoalProgress&, const TokenGoalProgress&) = default;
};

struct PersonalTokenTotals {
    std::int64_t todayTokens = 0;
    std::int64_t weekTokens = 0;

    friend bool operator==(const PersonalTokenTotals&, const PersonalTokenTotals&) = default;
};

/// The values beside the goals. Absent is not known; zero was measured.
struct PersonalTokenGoalTotals {
    std::optional<std::int64_t> todayTokens;
    std::optional<std::int64_t> weekTokens;

    static constexpr PersonalTokenGoalTotals unavailable() { return {}; }

    friend bool operator==(const PersonalTokenGoalTotals&,
                           const PersonalTokenGoalTotals&) = default;
};

/// What the user's targets are compared with.
namespace PersonalUsageCalculator {

struct DailyBuckets {
    const std::vector<DailyTokenBucket>& from;
    const Calendar& calendar;
    Date now;
};
/// The tokens of today and of the calendar week around it, Monday to Sunday. A bucket whose key is
/// no day counts nowhere.
PersonalTokenTotals tokenTotals(const DailyBuckets& buckets);

struct GoalTotals {
    const std::optional<std::vector<DailyTokenBucket>>& from;
    std::optional<std::int64_t> todayTokens;
    bool weekHistoryAvailable = false;  ///< every day of the week so far is known
    const StatisticsIdentity& snapshotStatistics;
    const StatisticsContext& statistics;  ///< of the moment that is asked about
};
/// Nothing of a snapshot of another day or zone: the tokens of Sunday are not Monday's, and a week
/// that nobody read is not empty. Without a complete week today stays visible.
PersonalTokenGoalTotals goalTotals(const GoalTotals& values);

struct GoalAmounts {
    std::optional<std::int64_t> current;
    std::int64_t goal = 0;
};
/// Absent where the current value is not known.
std::optional<TokenGoalProgress> goalProgress(const GoalAmounts& amounts);

struct Renewal {
    std::optional<CalendarDay> renewalDay;  ///< as the user entered it, in no zone
    const Calendar& calendar;               ///< says which day is today
    Date now;
};
/// The next day of renewal, today included. It recurs every month on the entered day of the month,
/// in a shorter month on the last one. Nothing without a day, or with one that is none.
std::optional<CalendarDay> nextRenewalDay(const Renewal& renewal);

/// Calendar days until then; 0 today.
std::optional<std::int64_t> wholeDaysUntilRenewal(const Renewal& renewal);

}  // namespace PersonalUsageCalculator

}  // namespace vantry
