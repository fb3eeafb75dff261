#include "presentation/settings/SettingsPresentation.h"

#include <functional>
#include <utility>

#include "platform/Text.h"
#include "presentation/words/SettingsWords.h"
#include "presentation/words/StatusItemWords.h"
#include "statistics/DayKey.h"

namespace vantry {

namespace {

namespace Words = SettingsWords;

/// An option in the making: its raw text, its title, and whether it holds.
struct Option {
    std::string_view id;
    BilingualText title;
    bool isSelected = false;
    std::string sentence = {};
};

class SettingsMaker {
  public:
    explicit SettingsMaker(const SurfaceInput& input)
        : input_(input), values_(input.settings), words_(input.wording()) {}

    SettingsPresentation settings() {
        addGeneral();
        addInterface();
        addTray();
        addStartup();
        addData();
        addGoals();
        addDocuments();
        return {.title = words_(Words::title), .sections = std::move(sections_)};
    }

  private:
    void begin(std::string id, const BilingualText& title) {
        sections_.push_back({.id = std::move(id), .title = words_(title)});
    }

    SettingsRow& add(std::string id, const BilingualText& name, const BilingualText& sentence,
                     SettingsControl control) {
        auto& rows = sections_.back().rows;
        rows.push_back({.id = std::move(id),
                        .name = words_(name),
                        .sentence = words_(sentence),
                        .control = control});
        return rows.back();
    }

    SettingsRow& addToggle(std::string id, const BilingualText& name, const BilingualText& sentence,
                           bool isOn) {
        SettingsRow& row = add(std::move(id), name, sentence, SettingsControl::toggle);
        row.isOn = isOn;
        return row;
    }

    SettingsRow& addChoice(std::string id, const BilingualText& name, const BilingualText& sentence,
                           const std::vector<Option>& options) {
        SettingsRow& row = add(std::move(id), name, sentence, SettingsControl::choice);
        for (const Option& option : options) {
            row.options.push_back({.id = std::string(option.id),
                                   .title = words_(option.title),
                                   .sentence = option.sentence,
                                   .isSelected = option.isSelected});
            if (option.isSelected) row.value = option.id;
        }
        return row;
    }

    template <class Enum>
    Option option(Enum value, Enum chosen, const BilingualText& title) const {
        return {.id = rawText(value), .title = title, .isSelected = value == chosen};
    }

    void addGeneral() {
        begin("general", Words::general);
        addChoice("language", Words::language, Words::languageMeaning,
                  {option(WidgetLanguage::zh, values_.language, Words::chinese),
                   option(WidgetLanguage::en, values_.language, Words::english)});
        addToggle("keepMainWindowOnTop", Words::keepOnTop, Words::keepOnTopMeaning,
                  values_.keepMainWindowOnTop);
        SettingsRow& running =
            addToggle("keepRunningWhenMainWindowClosed", Words::keepRunning,
                      Words::keepRunningMeaning, values_.keepRunningWhenMainWindowClosed);
        if (!input_.machine.hasTray) running.note = words_(Words::keepRunningWithoutTray);
        SettingsRow& shortcut = add("mainWindowShortcut", Words::shortcut, Words::shortcutMeaning,
                                    SettingsControl::shortcut);
        shortcut.placeholder = words_(Words::pressShortcut);
        shortcut.value = values_.mainWindowShortcut ? values_.mainWindowShortcut->displayLabel()
                                                    : words_(Words::noShortcut);
        shortcut.isEnabled = input_.machine.canRegisterShortcut;
        if (!shortcut.isEnabled) {
            shortcut.note = words_(Words::shortcutsNotHere);
        } else if (values_.mainWindowShortcutRegistrationFailed) {
            shortcut.error = words_(Words::shortcutFailed);
        }
    }

    void addInterface() {
        begin("interface", Words::interface);
        using Mode = WidgetThemeMode;
        addChoice("themeMode", Words::appearance, Words::appearanceMeaning,
                  {option(Mode::system, values_.themeMode, Words::system),
                   option(Mode::light, values_.themeMode, Words::light),
                   option(Mode::dark, values_.themeMode, Words::dark)});
        std::vector<Option> skins;
        skins.reserve(EnumTexts<WidgetSkin>::table.size());
        for (const auto& [skin, id] : EnumTexts<WidgetSkin>::table) {
            skins.push_back(option(skin, values_.skin, Words::skinName(skin)));
        }
        addChoice("skin", Words::skin, Words::skinMeaning, skins).note = words_(Words::skinScope);
    }

    void addTray() {
        begin("tray", Words::tray);
        const StatusItemPreferences& item = values_.statusItemPreferences;
        using Display = StatusItemDisplayMode;
        addChoice("displayMode", Words::displayMode, Words::displayModeMeaning,
                  {option(Display::minimal, item.displayMode, Words::minimal),
                   option(Display::classic, item.displayMode, Words::classic)});
        using Quota = QuotaDisplayMode;
        addChoice("quotaMode", Words::quotaDirection, Words::quotaDirectionMeaning,
                  {option(Quota::remaining, item.quotaMode, Words::remaining),
                   option(Quota::used, item.quotaMode, Words::used)});
        addToggle("sevenDayQuota", Words::planQuota, Words::visibleMetricsMeaning,
                  item.visibleMetrics.contains(StatusItemMetric::sevenDayQuota));
        addToggle("todayTokens", Words::todayTokens, Words::visibleMetricsMeaning,
                  item.visibleMetrics.contains(StatusItemMetric::todayTokens));
        addToggle("animatesTrayImage", Words::movingLight, Words::movingLightMeaning,
                  values_.animatesTrayImage);
        add("preview", Words::livePreview, Words::livePreviewMeaning, SettingsControl::preview);
        add("restore", Words::restore, Words::restoreMeaning, SettingsControl::button).action = {
            .kind = ActionKind::resetStatusItem, .title = words_(Words::restore)};
    }

    void addStartup() {
        begin("startup", Words::startup);
        const MachineFacts& machine = input_.machine;
        const auto explain = [&](SettingsRow& row, bool isPossible) {
            if (machine.backgroundTrouble) {
                row.error = words_(Words::agentUnavailable, validUtf8(*machine.backgroundTrouble));
                row.note = words_(Words::allowAgent);
            } else if (!isPossible) {
                row.isEnabled = false;
                row.note = words_(Words::notInstalled);
            }
        };
        explain(addToggle("followCodexLifecycle", Words::followCodex, Words::followCodexMeaning,
                          values_.followCodexLifecycle),
                machine.canFollowCodex);
        explain(addToggle("startsAtLogin", Words::startAtLogin, Words::startAtLoginMeaning,
                          values_.startsAtLogin),
                machine.canStartAtLogin);
    }

    void addData() {
        begin("data", Words::data);
        const StatisticsTimeZonePreference& zone = input_.state.statisticsPreference;
        using Selection = StatisticsTimeZoneSelection;
        SettingsRow& choice =
            addChoice("statisticsTimeZone", Words::statisticsZone, meaningOf(zone.selection),
                      {option(Selection::system, zone.selection, Words::system),
                       option(Selection::utc, zone.selection, Words::utc),
                       option(Selection::fixed, zone.selection, Words::fixedZone)});
        if (zone.selection == Selection::system) {
            choice.sentence = words_(Words::systemZoneMeaning, input_.machine.systemZone);
        }
        SettingsRow& fixed =
            add("fixedZone", Words::fixedZone, Words::fixedZoneMeaning, SettingsControl::text);
        fixed.value = zone.fixedIdentifier;
        fixed.isEnabled = zone.selection == Selection::fixed;
        for (const std::string& known : input_.machine.knownZones) {
            fixed.options.push_back(
                {.id = known, .title = known, .isSelected = known == zone.fixedIdentifier});
        }
        addPath({.id = "codexProgram",
                 .name = Words::codexProgram,
                 .sentence = Words::codexProgramMeaning,
                 .chosen = values_.codexProgram,
                 .decided = input_.machine.environmentPaths.program,
                 .variable = "VANTRY_CODEX_PATH",
                 .found = input_.machine.codexPrograms});
        addPath({.id = "codexHome",
                 .name = Words::codexHome,
                 .sentence = Words::codexHomeMeaning,
                 .chosen = values_.codexHome,
                 .decided = input_.machine.environmentPaths.home,
                 .variable = "CODEX_HOME",
                 .found = input_.machine.codexHomes});
    }

    static BilingualText meaningOf(StatisticsTimeZoneSelection selection) {
        return selection == StatisticsTimeZoneSelection::utc ? Words::utcMeaning
                                                             : Words::fixedZoneMeaning;
    }

    struct PathRow {
        std::string id;
        const BilingualText& name;
        const BilingualText& sentence;
        const std::optional<std::string>& chosen;
        const std::optional<std::string>& decided;  ///< by the variable
        const char* variable;
        const std::vector<FoundCodex>& found;
    };
    void addPath(const PathRow& path) {
        SettingsRow& row = add(path.id, path.name, path.sentence, SettingsControl::text);
        row.placeholder = words_(Words::automatic);
        row.value = path.decided.value_or(path.chosen.value_or(""));
        if (path.decided) {
            row.isEnabled = false;
            row.note = words_(Words::fromEnvironment, path.variable);
        }
        row.options.push_back(
            {.id = "", .title = words_(Words::automatic), .isSelected = row.value.empty()});
        for (const FoundCodex& found : path.found) {
            row.options.push_back(
                {.id = found.path,
                 .title = found.version.empty()
                              ? found.path
                              : words_(Words::versioned, found.path, found.version),
                 .isSelected = found.path == row.value});
        }
    }

    void addGoals() {
        begin("goals", Words::goals);
        const PersonalUsagePreferences& goals = values_.personalUsagePreferences;
        const auto addGoal = [&](std::string id, const BilingualText& name, std::int64_t tokens) {
            SettingsRow& row = add(std::move(id), name, Words::storedHere, SettingsControl::text);
            row.placeholder = words_(Words::goalPlaceholder);
            if (tokens > 0) row.value = words_.digits(tokens);
        };
        addGoal("dailyTokenGoal", Words::dailyGoal, goals.dailyTokenGoal());
        addGoal("weeklyTokenGoal", Words::weeklyGoal, goals.weeklyTokenGoal());
        SettingsRow& renewal =
            add("renewalDay", Words::nextRenewal, Words::nextRenewalMeaning, SettingsControl::text);
        renewal.placeholder = words_(Words::datePlaceholder);
        renewal.note = words_(Words::storedHere);
        if (goals.renewalDay) renewal.value = dayKeyOf(*goals.renewalDay).value_or("");
    }

    void addDocuments() {
        const MachineFacts& machine = input_.machine;
        const auto open = [&](std::string target) {
            return Action{.kind = ActionKind::openDocument,
                          .target = std::move(target),
                          .title = words_(Words::open)};
        };
        begin("privacy", Words::privacy);
        add("privacyPolicy", Words::privacyPolicy, Words::privacyPolicyMeaning,
            SettingsControl::button)
            .action = open(machine.privacyPolicyURL());
        add("license", Words::license, Words::licenseMeaning, SettingsControl::button).action =
            open(machine.openSourceLicenseURL());
        begin("information", Words::information);
        add("version", Words::version, Words::versionMeaning, SettingsControl::info).value =
            machine.version;
        add("build", Words::build, Words::buildMeaning, SettingsControl::info).value =
            machine.build;
        if (!machine.website.empty()) {
            add("website", Words::website, Words::websiteMeaning, SettingsControl::button).action =
                open(machine.website);
        }
    }

    const SurfaceInput& input_;
    const AppSettingsValues& values_;
    Wording words_;
    std::vector<SettingsSection> sections_;
};

}  // namespace

SettingsPresentation settingsPresentation(const SurfaceInput& input) {
    return SettingsMaker(input).settings();
}

std::string shortcutRefusalText(MainWindowShortcutRefusal refusal, WidgetLanguage language) {
    switch (refusal) {
        case MainWindowShortcutRefusal::invalid:
            return std::string(Words::shortcutInvalid.in(language));
        case MainWindowShortcutRefusal::reserved:
            return std::string(Words::shortcutReserved.in(language));
        case MainWindowShortcutRefusal::cancel:
        case MainWindowShortcutRefusal::clear:
            break;
    }
    return {};
}

}  // namespace vantry
