#pragma once

#include <cstdint>
#include <optional>

#include "platform/Calendar.h"
#include "platform/UserDefaults.h"

namespace vantry {

/// The user's own targets. A goal of 0 is not set.
struct PersonalUsagePreferences {
    std::int64_t storedDailyTokenGoal = 0;
    std::int64_t storedWeeklyTokenGoal = 0;
    /// A day on which the plan was or will be renewed: the same in every zone.
    std::optional<CalendarDay> renewalDay;

    std::int64_t dailyTokenGoal() const { return storedDailyTokenGoal; }
    std::int64_t weeklyTokenGoal() const { return storedWeeklyTokenGoal; }
    /// A goal below 0 is stored as 0.
    void setDailyTokenGoal(std::int64_t tokens);
    void setWeeklyTokenGoal(std::int64_t tokens);

    friend bool operator==(const PersonalUsagePreferences&,
                           const PersonalUsagePreferences&) = default;
};

/// Where the targets are kept: goals as decimal texts, the day as "2026-09-05". Any thread.
namespace PersonalUsagePreferencesStore {

/// What is stored. A value that cannot be read counts as not set. Earlier versions kept the day as
/// the instant at which it began in the zone of then: the day that the instant has in `calendar` is
/// stored in its place at once, so that a later change of the zone does not move it.
PersonalUsagePreferences load(UserDefaults& defaults, const Calendar& calendar);

/// All three values or none, read back at once; a renewal day that is no day is stored as none.
void save(const PersonalUsagePreferences& preferences, UserDefaults& defaults);

/// Back to nothing set.
void reset(UserDefaults& defaults);

}  // namespace PersonalUsagePreferencesStore

}  // namespace vantry
