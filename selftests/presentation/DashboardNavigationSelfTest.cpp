#include "presentation/dashboard/DashboardNavigation.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "session/settings/AppSettings.h"

namespace vantry {

namespace {

using Property = AppSettingsProperty;

void checkNavigation(SelfTest& test) {
    DashboardNavigationState state;
    int told = 0;
    const Subscription subscription = state.observe([&](const auto&) { ++told; });
    DashboardNavigation projects = state.value();
    projects.selectedTab = DashboardTab::projects;
    state.change(projects);
    state.change(projects);
    test.expect(told == 1 && state.value().selectedTab == DashboardTab::projects,
                "a change is told once");
}

AppSettings::Services servicesOf(const UserDefaults& defaults) {
    return {.defaults = defaults, .environment = environmentOf({{"LANG", "zh_CN.UTF-8"}})};
}

void checkStoredSettings(SelfTest& test) {
    const TemporaryDirectory directory("vantry-settings-");
    UserDefaults defaults(directory.path(), "test");
    defaults.setStrings({{"Vantry.interfaceSkin", "standard"},
                         {"Vantry.interfaceThemeMode", "sepia"},
                         {"Vantry.keepMainWindowOnTop", "perhaps"},
                         {"Vantry.codexHome", "relative"}});
    std::vector<WidgetSkin> activated;
    AppSettings::Services services = servicesOf(defaults);
    services.activateSkin = [&](WidgetSkin skin) { activated.push_back(skin); };
    AppSettings settings(services);
    AppSettingsValues expected{.language = WidgetLanguage::zh};
    test.expect(settings.values() == expected, "bad values are the defaults");

    AppSettingsProperties changed;
    const Subscription subscription = settings.observe([&](const AppSettingsProperties& told) {
        changed.insert(told.begin(), told.end());
        test.expect(activated.back() == settings.values().skin,
                    "the palette is there before the news");
    });
    expected.language = WidgetLanguage::en;
    expected.skin = WidgetSkin::abyssalAzure;
    expected.keepRunningWhenMainWindowClosed = false;
    expected.codexProgram = "/opt/codex";
    expected.personalUsagePreferences.setDailyTokenGoal(5);
    test.expect(!settings.change(expected) && settings.values() == expected &&
                    changed == AppSettingsProperties{Property::language, Property::skin,
                                                     Property::keepRunningWhenMainWindowClosed,
                                                     Property::codexProgram,
                                                     Property::personalUsagePreferences},
                "each change is told by its property");
    test.expect(AppSettings(servicesOf(defaults)).values() == expected, "and is stored at once");

    // Another process, whose values are in the file.
    AppSettingsValues theirs = expected;
    theirs.themeMode = WidgetThemeMode::dark;
    test.expect(defaults.flush(), "the file has ours");
    UserDefaults theirDefaults(directory.path(), "test");
    theirDefaults.setString("Vantry.interfaceThemeMode", "dark");
    test.expect(theirDefaults.flush(), "and theirs");
    changed.clear();
    settings.reload();
    settings.reload();
    test.expect(
        changed == AppSettingsProperties{Property::themeMode} && settings.values() == theirs,
        "what another process stored is taken over, and nothing else told");
}

void checkRefusals(SelfTest& test) {
    const TemporaryDirectory directory("vantry-settings-");
    AppSettings settings(servicesOf(UserDefaults(directory.path(), "test")));
    const AppSettingsValues before = settings.values();
    AppSettingsValues wanted = before;
    wanted.skin = WidgetSkin::sakuraBlush;
    wanted.statusItemPreferences.visibleMetrics = {};
    test.expect(settings.change(wanted) == AppSettingsRefusal::requiresVisibleMetric, "no metric");
    wanted.statusItemPreferences.visibleMetrics = {StatusItemMetric::todayTokens};
    test.expect(settings.change(wanted) == AppSettingsRefusal::minimalRequiresQuotaMetric,
                "no quota");
    wanted = before;
    wanted.codexHome = "codex";
    test.expect(settings.change(wanted) == AppSettingsRefusal::pathIsNotAbsolute &&
                    settings.values() == before,
                "a refused change leaves everything as it was");

    bool isPossible = false;
    settings.configureMainWindowShortcutRegistration([&](const auto&) { return isPossible; });
    wanted = before;
    wanted.mainWindowShortcut = MainWindowShortcut{'m', MainWindowShortcut::option, "M"};
    settings.change(wanted);
    test.expect(settings.values().mainWindowShortcutRegistrationFailed, "a taken shortcut is told");
    isPossible = true;
    wanted.mainWindowShortcut->keyCode = 'n';
    settings.change(wanted);
    test.expect(!settings.values().mainWindowShortcutRegistrationFailed, "another one is not");
}

void checkEnvironment(SelfTest& test) {
    const AppSettingsValues settings{.codexHome = "/set/home", .codexProgram = "/set/codex"};
    const Environment shell =
        environmentOf({{"CODEX_HOME", "/shell/home"}, {"VANTRY_CODEX_PATH", ""}});
    const Environment merged = environmentOf(settings, shell);
    test.expect(merged("CODEX_HOME") == "/shell/home" &&
                    merged("VANTRY_CODEX_PATH") == "/set/codex" && !merged("LANG") &&
                    codexPathsOf(shell) == CodexPathsOfEnvironment{.home = "/shell/home"},
                "a variable goes before the setting");
}

}  // namespace

bool DashboardNavigationSelfTest::run() {
    return SelfTest::run("dashboard navigation",
                         {checkNavigation, checkStoredSettings, checkRefusals, checkEnvironment});
}

}  // namespace vantry
