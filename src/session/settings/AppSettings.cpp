#include "session/settings/AppSettings.h"

#include <array>
#include <string_view>
#include <tuple>
#include <utility>

namespace vantry {

namespace {

using Property = AppSettingsProperty;
using Values = AppSettingsValues;

constexpr const char* languageKey = "Vantry.interfaceLanguage";
constexpr const char* themeKey = "Vantry.interfaceThemeMode";
constexpr const char* skinKey = "Vantry.interfaceSkin";

/// A value that is stored under one key as it is.
template <class Member>
struct Place {
    Property property;
    const char* key;
    Member Values::*member;
};

constexpr std::array flags{
    Place<bool>{Property::keepMainWindowOnTop, "Vantry.keepMainWindowOnTop",
                &Values::keepMainWindowOnTop},
    Place<bool>{Property::keepRunningWhenMainWindowClosed, "Vantry.keepRunningWhenMainWindowClosed",
                &Values::keepRunningWhenMainWindowClosed},
    Place<bool>{Property::followCodexLifecycle, "Vantry.followCodexLifecycle",
                &Values::followCodexLifecycle},
    Place<bool>{Property::startsAtLogin, "Vantry.startAtLogin", &Values::startsAtLogin},
    Place<bool>{Property::animatesTrayImage, "Vantry.statusItem.animates",
                &Values::animatesTrayImage}};

constexpr std::array paths{
    Place<std::optional<std::string>>{Property::codexHome, "Vantry.codexHome", &Values::codexHome},
    Place<std::optional<std::string>>{Property::codexProgram, "Vantry.codexProgram",
                                      &Values::codexProgram}};

bool isAbsolute(const std::optional<std::string>& path) {
    return !path || path->starts_with('/');
}

AppSettingsProperties differences(const Values& a, const Values& b) {
    AppSettingsProperties changed;
    const auto compare = [&](Property property, auto member) {
        if (a.*member != b.*member) changed.insert(property);
    };
    compare(Property::language, &Values::language);
    compare(Property::themeMode, &Values::themeMode);
    compare(Property::skin, &Values::skin);
    compare(Property::mainWindowShortcut, &Values::mainWindowShortcut);
    compare(Property::mainWindowShortcutRegistrationFailed,
            &Values::mainWindowShortcutRegistrationFailed);
    compare(Property::statusItemPreferences, &Values::statusItemPreferences);
    compare(Property::personalUsagePreferences, &Values::personalUsagePreferences);
    for (const auto& place : flags) compare(place.property, place.member);
    for (const auto& place : paths) compare(place.property, place.member);
    return changed;
}

}  // namespace

AppSettings::AppSettings(Services services) : services_(std::move(services)), values_(stored()) {
    services_.activateSkin(values_.skin);
}

AppSettingsValues AppSettings::stored() {
    UserDefaults& defaults = services_.defaults;
    const auto text = [&](const char* key) { return defaults.string(key).value_or(""); };
    Values values;
    values.language = fromRawText<WidgetLanguage>(text(languageKey))
                          .value_or(automaticLanguage(services_.environment));
    values.themeMode = fromRawText<WidgetThemeMode>(text(themeKey)).value_or(values.themeMode);
    values.skin = fromRawText<WidgetSkin>(text(skinKey)).value_or(values.skin);
    for (const auto& place : flags) {
        const std::string flag = text(place.key);
        if (flag == "true" || flag == "false") values.*place.member = flag == "true";
    }
    for (const auto& place : paths) {
        const std::string path = text(place.key);
        if (path.starts_with('/')) values.*place.member = path;
    }
    values.mainWindowShortcut = MainWindowShortcutStore::load(defaults);
    values.statusItemPreferences = StatusItemPreferencesStore::load(defaults);
    values.personalUsagePreferences =
        PersonalUsagePreferencesStore::load(defaults, services_.calendar);
    return values;
}

void AppSettings::store(const AppSettingsValues& values, const AppSettingsProperties& changed) {
    UserDefaults::Change change;
    if (changed.contains(Property::language)) {
        change.set.emplace(languageKey, rawText(values.language));
    }
    if (changed.contains(Property::themeMode)) {
        change.set.emplace(themeKey, rawText(values.themeMode));
    }
    if (changed.contains(Property::skin)) change.set.emplace(skinKey, rawText(values.skin));
    for (const auto& place : flags) {
        if (!changed.contains(place.property)) continue;
        change.set.emplace(place.key, values.*place.member ? "true" : "false");
    }
    for (const auto& place : paths) {
        if (!changed.contains(place.property)) continue;
        if (const auto& path = values.*place.member) {
            change.set.emplace(place.key, *path);
        } else {
            change.remove.insert(place.key);
        }
    }
    services_.defaults.change(change);
    if (changed.contains(Property::mainWindowShortcut)) {
        MainWindowShortcutStore::save(values.mainWindowShortcut, services_.defaults);
    }
    if (changed.contains(Property::statusItemPreferences)) {
        StatusItemPreferencesStore::save(values.statusItemPreferences, services_.defaults);
    }
    if (changed.contains(Property::personalUsagePreferences)) {
        PersonalUsagePreferencesStore::save(values.personalUsagePreferences, services_.defaults);
    }
}

void AppSettings::take(AppSettingsValues values, const AppSettingsProperties& changed) {
    values_ = std::move(values);
    if (changed.contains(Property::skin)) services_.activateSkin(values_.skin);
    if (!changed.empty()) observers_.tell(changed);
}

void AppSettings::registerShortcut(AppSettingsValues& values) const {
    const auto& shortcut = values.mainWindowShortcut;
    if (shortcut == values_.mainWindowShortcut || !mainWindowShortcutRegistrationHandler_) return;
    values.mainWindowShortcutRegistrationFailed = !mainWindowShortcutRegistrationHandler_(shortcut);
}

std::optional<AppSettingsRefusal> AppSettings::change(const AppSettingsValues& wanted) {
    if (const auto error = wanted.statusItemPreferences.validationError()) {
        return *error == StatusItemPreferenceError::requiresVisibleMetric
                   ? AppSettingsRefusal::requiresVisibleMetric
                   : AppSettingsRefusal::minimalRequiresQuotaMetric;
    }
    if (!isAbsolute(wanted.codexHome) || !isAbsolute(wanted.codexProgram)) {
        return AppSettingsRefusal::pathIsNotAbsolute;
    }
    Values taken = wanted;
    registerShortcut(taken);
    const AppSettingsProperties changed = differences(values_, taken);
    store(taken, changed);
    take(std::move(taken), changed);
    return std::nullopt;
}

void AppSettings::reload() {
    Values values = stored();
    values.mainWindowShortcutRegistrationFailed = values_.mainWindowShortcutRegistrationFailed;
    registerShortcut(values);
    const AppSettingsProperties changed = differences(values_, values);
    take(std::move(values), changed);
}

void AppSettings::reportMainWindowShortcutRegistration(bool succeeded) {
    Values values = values_;
    values.mainWindowShortcutRegistrationFailed = !succeeded;
    const AppSettingsProperties changed = differences(values_, values);
    take(std::move(values), changed);
}

Environment environmentOf(const AppSettingsValues& settings, Environment environment) {
    return [home = settings.codexHome, program = settings.codexProgram,
            environment = std::move(environment)](const char* name) {
        auto value = environment(name);
        if (value && !value->empty()) return value;
        const std::string_view asked(name);
        if (asked == "CODEX_HOME" && home) return home;
        if (asked == "VANTRY_CODEX_PATH" && program) return program;
        return value;
    };
}

CodexPathsOfEnvironment codexPathsOf(const Environment& environment) {
    const auto path = [&](const char* name) {
        auto value = environment(name);
        return value && !value->empty() ? value : std::nullopt;
    };
    return {.home = path("CODEX_HOME"), .program = path("VANTRY_CODEX_PATH")};
}

}  // namespace vantry
