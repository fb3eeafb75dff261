#include "statistics/PersonalUsagePreferences.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "platform/Iso8601.h"

namespace vantry {

void PersonalUsagePreferences::setDailyTokenGoal(std::int64_t tokens) {
    storedDailyTokenGoal = std::max<std::int64_t>(tokens, 0);
}

void PersonalUsagePreferences::setWeeklyTokenGoal(std::int64_t tokens) {
    storedWeeklyTokenGoal = std::max<std::int64_t>(tokens, 0);
}

PersonalUsagePreferences PersonalUsagePreferences::normalized(const Calendar& calendar) const {
    PersonalUsagePreferences result = *this;
    if (renewalDate) result.renewalDate = calendar.startOfDay(*renewalDate);
    return result;
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

}  // namespace

PersonalUsagePreferences load(const UserDefaults& defaults, const Calendar& calendar) {
    PersonalUsagePreferences preferences;
    preferences.setDailyTokenGoal(integer(defaults.string(dailyGoalKey)));
    preferences.setWeeklyTokenGoal(integer(defaults.string(weeklyGoalKey)));
    preferences.renewalDate = iso8601Date(defaults.string(renewalKey).value_or(""));
    return preferences.normalized(calendar);
}

bool save(const Save& request) {
    const PersonalUsagePreferences preferences = request.preferences.normalized(request.calendar);
    const auto& date = preferences.renewalDate;
    const auto renewal = date ? iso8601Text(*date) : std::nullopt;
    UserDefaults::Change change{
        .set = {{dailyGoalKey, std::to_string(preferences.dailyTokenGoal())},
                {weeklyGoalKey, std::to_string(preferences.weeklyTokenGoal())}}};
    if (renewal) {
        change.set.emplace(renewalKey, *renewal);
    } else {
        change.remove.insert(renewalKey);
    }
    return request.defaults.change(change);
}

bool reset(UserDefaults& defaults) {
    return defaults.change({.remove = {dailyGoalKey, weeklyGoalKey, renewalKey}});
}

}  // namespace PersonalUsagePreferencesStore

}  // namespace vantry
