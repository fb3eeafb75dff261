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
    std::optional<Date> renewalDate;  ///< a day on which the plan was or will be renewed

    std::int64_t dailyTokenGoal() const { return storedDailyTokenGoal; }
    std::int64_t weeklyTokenGoal() const { return storedWeeklyTokenGoal; }
    /// A goal below 0 is stored as 0.
    void setDailyTokenGoal(std::int64_t tokens);
    void setWeeklyTokenGoal(std::int64_t tokens);

    /// With the first instant of the renewal's day; without one where the date has no day.
    PersonalUsagePreferences normalized(const Calendar& calendar) const;

    friend bool operator==(const PersonalUsagePreferences&,
                           const PersonalUsagePreferences&) = default;
};

/// Where the targets are kept: goals as decimal texts, the date as an ISO 8601 text. Any thread.
namespace PersonalUsagePreferencesStore {

/// What is stored, normalized. A value that cannot be read counts as not set.
PersonalUsagePreferences load(const UserDefaults& defaults, const Calendar& calendar);

struct Save {
    PersonalUsagePreferences preferences;  ///< normalized first
    UserDefaults& defaults;
    const Calendar& calendar;
};
/// All three values or none. False when they could not be written; the old ones then stand.
bool save(const Save& request);

/// Back to nothing set; false as above.
bool reset(UserDefaults& defaults);

}  // namespace PersonalUsagePreferencesStore

}  // namespace vantry
