#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "platform/Environment.h"
#include "refresh/ObserverList.h"
#include "session/settings/Appearance.h"
#include "session/settings/MainWindowShortcut.h"
#include "session/settings/StatusItemPreferences.h"
#include "session/settings/WidgetLanguage.h"
#include "statistics/PersonalUsagePreferences.h"

namespace vantry {

/// What the user has chosen, as it stands at one moment.
struct AppSettingsValues {
    WidgetLanguage language = WidgetLanguage::en;
    WidgetThemeMode themeMode = WidgetThemeMode::system;
    WidgetSkin skin = WidgetSkin::nebulaViolet;
    bool keepMainWindowOnTop = false;
    bool keepRunningWhenMainWindowClosed = true;
    std::optional<MainWindowShortcut> mainWindowShortcut;
    bool mainWindowShortcutRegistrationFailed = false;  ///< not stored
    bool followCodexLifecycle = false;
    bool startsAtLogin = false;
    bool animatesTrayImage = false;           ///< the moving light in the tray
    std::optional<std::string> codexHome;     ///< an absolute path
    std::optional<std::string> codexProgram;  ///< likewise
    StatusItemPreferences statusItemPreferences;
    PersonalUsagePreferences personalUsagePreferences;

    friend bool operator==(const AppSettingsValues&, const AppSettingsValues&) = default;
};

enum class AppSettingsProperty : std::uint8_t {
    language,
    themeMode,
    skin,
    keepMainWindowOnTop,
    keepRunningWhenMainWindowClosed,
    mainWindowShortcut,
    mainWindowShortcutRegistrationFailed,
    followCodexLifecycle,
    startsAtLogin,
    animatesTrayImage,
    codexHome,
    codexProgram,
    statusItemPreferences,
    personalUsagePreferences,
};

using AppSettingsProperties = std::set<AppSettingsProperty>;

/// Why a wanted value is not taken; what was chosen before stands.
enum class AppSettingsRefusal : std::uint8_t {
    requiresVisibleMetric,
    minimalRequiresQuotaMetric,
    pathIsNotAbsolute,  ///< of Codex's home or program
};

/// The one holder of the user's choices, written through to the preferences at once. The thread of
/// the main loop.
class AppSettings {
  public:
    struct Services {
        UserDefaults defaults;
        Environment environment = processEnvironment;  ///< says the language of who chose none
        Calendar calendar{TimeZone::utc()};            ///< of days that earlier versions stored
        /// Called with the skin before anybody is told of it, so that whoever is told finds the
        /// whole palette in place.
        std::function<void(WidgetSkin)> activateSkin = [](WidgetSkin) {};
    };
    /// Reads what is stored. A bad value falls back to its default.
    explicit AppSettings(Services services);
    AppSettings(const AppSettings&) = delete;
    AppSettings& operator=(const AppSettings&) = delete;

    const AppSettingsValues& values() const { return values_; }

    /// Takes the values, stores those that are others now, and tells which. All of them or none.
    std::optional<AppSettingsRefusal> change(const AppSettingsValues& wanted);

    /// Takes what another process has stored since, and tells what of it is new.
    void reload();

    /// Says whether the shortcut could be registered with the system; no shortcut always can.
    using RegisterShortcut = std::function<bool(const std::optional<MainWindowShortcut>&)>;
    /// From now on asked at each change of the shortcut.
    void configureMainWindowShortcutRegistration(RegisterShortcut handler) {
        mainWindowShortcutRegistrationHandler_ = std::move(handler);
    }
    void reportMainWindowShortcutRegistration(bool succeeded);

    [[nodiscard]] Subscription observe(
        std::function<void(const AppSettingsProperties& changed)> observer) {
        return observers_.add(std::move(observer));
    }

  private:
    AppSettingsValues stored();
    void store(const AppSettingsValues& values, const AppSettingsProperties& changed);
    void registerShortcut(AppSettingsValues& values) const;
    void take(AppSettingsValues values, const AppSettingsProperties& changed);

    Services services_;
    AppSettingsValues values_;
    RegisterShortcut mainWindowShortcutRegistrationHandler_;
    ObserverList<AppSettingsProperties> observers_;
};

/// The environment as reads see it: where CODEX_HOME or VANTRY_CODEX_PATH say nothing, the settings
/// do. The variables win, for a shell says what it means for one command.
Environment environmentOf(const AppSettingsValues& settings, Environment environment);

/// Which of the two the variables decide, so that the settings can say so.
struct CodexPathsOfEnvironment {
    std::optional<std::string> home;
    std::optional<std::string> program;

    friend bool operator==(const CodexPathsOfEnvironment&,
                           const CodexPathsOfEnvironment&) = default;
};
CodexPathsOfEnvironment codexPathsOf(const Environment& environment);

}  // namespace vantry
