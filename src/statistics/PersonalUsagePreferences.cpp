#include "statistics/PersonalUsagePreferences.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "platform/Iso8601.h"
#include "statistics/DayKey.h"

namespace vantry {

void PersonalUsagePreferences::setDailyTokenGoal(std::int64_t tokens) {
    storedDailyTokenGoal = std::max<std::int64_t>(tokens, 0);
}

void PersonalUsagePreferences::setWeeklyTokenGoal(std::int64_t tokens) {
    storedWeeklyTokenGoal = std::max<std::int64_t>(tokens, 0);
}

namespace PersonalUsagePreferencesStore {

namespace {

constexpr const char* dailyGoalKey = "Vantry.personalUsage.dailyTokenGoal";
constexpr const char* weeklyGoalKey = "Vantry.personalUsage.weeklyTokenGoal";
constexpr const char* renewalKey = "Vantry.personalUsage.renewalDate";

std::int64_t integer(const std::optional<std::string>& text) {
    std::int64_t value = 0;
    if (!text) return 0;
    const char* end = text->data() + text->size();
    const auto [rest, error] = std::from_chars(text->data(), end, value);
    return error == std::errc() && rest == end ? value : 0;
}

std::optional<CalendarDay> renewalDay(UserDefaults& defaults, const Calendar& calendar) {
    const std::string text = defaults.string(renewalKey).value_or("");
    if (const auto day = dayOfKey(text)) return day;
    const auto instant = iso8601Date(text);
    const auto day = instant ? calendar.day(*instant) : std::nullopt;
    const auto key = day ? dayKeyOf(*day) : std::nullopt;
    if (!key) return std::nullopt;
    defaults.setString(renewalKey, *key);
    return day;
}

}  // namespace

PersonalUsagePreferences load(UserDefaults& defaults, const Calendar& calendar) {
    PersonalUsagePreferences preferences;
    preferences.setDailyTokenGoal(integer(defaults.string(dailyGoalKey)));
    preferences.setWeeklyTokenGoal(integer(defaults.string(weeklyGoalKey)));
    preferences.renewalDay = renewalDay(defaults, calendar);
    return preferences;
}

void save(const PersonalUsagePreferences& preferences, UserDefaults& defaults) {
    const auto& day = preferences.renewalDay;
    const auto renewal = day ? dayKeyOf(*day) : std::nullopt;
    UserDefaults::Change change{
        .set = {{dailyGoalKey, std::to_string(preferences.dailyTokenGoal())},
                {weeklyGoalKey, std::to_string(preferences.weeklyTokenGoal())}}};
    if (renewal) {
        change.set.emplace(renewalKey, *renewal);
    } else {
        change.remove.insert(renewalKey);
    }
    defaults.change(change);
}

void reset(UserDefaults& defaults) {
    defaults.change({.remove = {dailyGoalKey, weeklyGoalKey, renewalKey}});
}

}  // namespace PersonalUsagePreferencesStore

}  // namespace vantry
