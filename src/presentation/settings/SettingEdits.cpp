#include <charconv>
#include <cmath>
#include <functional>
#include <map>

#include "platform/Text.h"
#include "presentation/settings/SettingsPresentation.h"
#include "presentation/words/SettingsWords.h"
#include "statistics/DayKey.h"

namespace vantry {

namespace {

namespace Words = SettingsWords;

/// What an edit does to the settings. Words if it cannot be taken.
using Edit = std::function<std::optional<BilingualText>(AppSettingsValues& settings,
                                                        const std::string& value)>;

Edit toggle(bool AppSettingsValues::*flag) {
    return [flag](AppSettingsValues& settings, const std::string& value) {
        settings.*flag = value == "true";
        return std::optional<BilingualText>();
    };
}

template <class Enum, class Member>
Edit choice(Member member) {
    return [member](AppSettingsValues& settings, const std::string& value) {
        if (const auto chosen = fromRawText<Enum>(value)) member(settings) = *chosen;
        return std::optional<BilingualText>();
    };
}

Edit metric(StatusItemMetric metric) {
    return [metric](AppSettingsValues& settings,
                    const std::string& value) -> std::optional<BilingualText> {
        auto& metrics = settings.statusItemPreferences.visibleMetrics;
        if (value == "true") {
            metrics.insert(metric);
        } else {
            metrics.erase(metric);
        }
        return std::nullopt;
    };
}

Edit path(std::optional<std::string> AppSettingsValues::*member) {
    return [member](AppSettingsValues& settings,
                    const std::string& value) -> std::optional<BilingualText> {
        const std::string entered(trimmed(value));
        if (!entered.empty() && !entered.starts_with('/')) return Words::notAbsolute;
        settings.*member = entered.empty() ? std::nullopt : std::optional(entered);
        return std::nullopt;
    };
}

Edit goal(void (PersonalUsagePreferences::*set)(std::int64_t)) {
    return [set](AppSettingsValues& settings,
                 const std::string& value) -> std::optional<BilingualText> {
        const auto tokens = tokenAmount(value);
        if (!tokens) return Words::goalInvalid;
        (settings.personalUsagePreferences.*set)(*tokens);
        return std::nullopt;
    };
}

std::optional<BilingualText> editRenewal(AppSettingsValues& settings, const std::string& value) {
    const std::string_view entered = trimmed(value);
    const auto day = dayOfKey(entered);
    if (!entered.empty() && !day) return Words::dateInvalid;
    settings.personalUsagePreferences.renewalDay = day;
    return std::nullopt;
}

const std::map<std::string_view, Edit>& edits() {
    using Values = AppSettingsValues;
    static const std::map<std::string_view, Edit> table{
        {"language", choice<WidgetLanguage>([](Values & v) -> auto& { return v.language; })},
        {"themeMode", choice<WidgetThemeMode>([](Values & v) -> auto& { return v.themeMode; })},
        {"skin", choice<WidgetSkin>([](Values & v) -> auto& { return v.skin; })},
        {"keepMainWindowOnTop", toggle(&Values::keepMainWindowOnTop)},
        {"keepRunningWhenMainWindowClosed", toggle(&Values::keepRunningWhenMainWindowClosed)},
        {"followCodexLifecycle", toggle(&Values::followCodexLifecycle)},
        {"startsAtLogin", toggle(&Values::startsAtLogin)},
        {"animatesTrayImage", toggle(&Values::animatesTrayImage)},
        {"displayMode", choice<StatusItemDisplayMode>([](Values & v) -> auto& {
             return v.statusItemPreferences.displayMode;
         })},
        {"quotaMode", choice<QuotaDisplayMode>(
                          [](Values & v) -> auto& { return v.statusItemPreferences.quotaMode; })},
        {"sevenDayQuota", metric(StatusItemMetric::sevenDayQuota)},
        {"todayTokens", metric(StatusItemMetric::todayTokens)},
        {"codexProgram", path(&Values::codexProgram)},
        {"codexHome", path(&Values::codexHome)},
        {"dailyTokenGoal", goal(&PersonalUsagePreferences::setDailyTokenGoal)},
        {"weeklyTokenGoal", goal(&PersonalUsagePreferences::setWeeklyTokenGoal)},
        {"renewalDay", editRenewal}};
    return table;
}

SettingOutcome applyZone(const SurfaceInput& input, const SettingEdit& edit) {
    StatisticsTimeZonePreference zone = input.state.statisticsPreference;
    if (edit.rowID == "fixedZone") {
        const std::string entered(trimmed(edit.value));
        if (!TimeZone::named(entered)) {
            return {.refusal = inWords(Words::unknownZone, input.settings.language, entered)};
        }
        zone.selection = StatisticsTimeZoneSelection::fixed;
        zone.fixedIdentifier = entered;
    } else if (const auto chosen = fromRawText<StatisticsTimeZoneSelection>(edit.value)) {
        zone.selection = *chosen;
    }
    return {.zone = zone};
}

}  // namespace

std::optional<std::int64_t> tokenAmount(std::string_view text) {
    static const std::map<std::string_view, double> units{
        {"", 1}, {"k", 1e3}, {"m", 1e6}, {"b", 1e9}, {"千", 1e3}, {"万", 1e4}, {"亿", 1e8}};
    constexpr double largest = 1e15;
    std::string digits;
    std::string_view rest = trimmed(text);
    if (rest.empty()) return 0;
    while (!rest.empty() && ((rest[0] >= '0' && rest[0] <= '9') || rest[0] == '.' ||
                             rest[0] == ',' || rest[0] == ' ')) {
        if (rest[0] != ',' && rest[0] != ' ') digits += rest[0];
        rest.remove_prefix(1);
    }
    const auto unit = units.find(asciiLowercased(rest));
    double number = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    if (unit == units.end() || error != std::errc() || stop != end) return std::nullopt;
    const double tokens = std::round(number * unit->second);
    if (!(tokens >= 0 && tokens <= largest)) return std::nullopt;
    return static_cast<std::int64_t>(tokens);
}

SettingOutcome applySetting(const SurfaceInput& input, const SettingEdit& edit) {
    if (edit.rowID == "statisticsTimeZone" || edit.rowID == "fixedZone") {
        return applyZone(input, edit);
    }
    AppSettingsValues settings = input.settings;
    if (edit.rowID == "restore") {
        settings.statusItemPreferences = {};
        return {.settings = settings};
    }
    const auto found = edits().find(edit.rowID);
    if (found == edits().end()) return {};
    const auto refuse = [&](const BilingualText& words) {
        return SettingOutcome{.refusal = std::string(words.in(input.settings.language))};
    };
    if (const auto refusal = found->second(settings, edit.value)) return refuse(*refusal);
    if (const auto error = settings.statusItemPreferences.validationError()) {
        return refuse(*error == StatusItemPreferenceError::requiresVisibleMetric
                          ? Words::keepOneMetric
                          : Words::minimalNeedsQuota);
    }
    return {.settings = settings};
}

}  // namespace vantry
