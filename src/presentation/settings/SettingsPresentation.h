#pragma once

#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"
#include "presentation/dashboard/Panel.h"
#include "presentation/status/StatusItemPresentation.h"

namespace vantry {

enum class SettingsControl : std::uint8_t {
    toggle,    ///< `isOn`
    choice,    ///< one of `options`
    text,      ///< `value`, with `options` on offer
    shortcut,  ///< `value`, captured from the keyboard
    preview,   ///< the wide image of the tray
    button,    ///< `action`
    info,      ///< `value`, to be read and copied
};

template <>
struct EnumTexts<SettingsControl> {
    using Control = SettingsControl;
    static constexpr std::array<std::pair<Control, std::string_view>, 7> table{
        {{Control::toggle, "toggle"},
         {Control::choice, "choice"},
         {Control::text, "text"},
         {Control::shortcut, "shortcut"},
         {Control::preview, "preview"},
         {Control::button, "button"},
         {Control::info, "info"}}};
};

struct SettingsOption {
    std::string id;
    std::string title;
    std::string sentence;
    bool isSelected = false;

    friend bool operator==(const SettingsOption&, const SettingsOption&) = default;
};

template <>
struct RecordFields<SettingsOption> {
    using Option = SettingsOption;
    static constexpr std::tuple list{field("id", &Option::id), field("title", &Option::title),
                                     field("sentence", &Option::sentence),
                                     field("isSelected", &Option::isSelected)};
};

/// One row: name, sentence, control.
struct SettingsRow {
    std::string id;  ///< for applySetting()
    std::string name;
    std::string sentence;
    SettingsControl control = SettingsControl::info;
    bool isOn = false;
    std::string value;
    std::string placeholder;
    std::vector<SettingsOption> options;
    bool isEnabled = true;
    std::string note;  ///< why it is not enabled, or what else there is to know
    std::string error;
    Action action;

    friend bool operator==(const SettingsRow&, const SettingsRow&) = default;
};

template <>
struct RecordFields<SettingsRow> {
    using Row = SettingsRow;
    static constexpr std::tuple list{field("id", &Row::id),
                                     field("name", &Row::name),
                                     field("sentence", &Row::sentence),
                                     field("control", &Row::control),
                                     field("isOn", &Row::isOn),
                                     field("value", &Row::value),
                                     field("placeholder", &Row::placeholder),
                                     field("options", &Row::options),
                                     field("isEnabled", &Row::isEnabled),
                                     field("note", &Row::note),
                                     field("error", &Row::error),
                                     field("action", &Row::action)};
};

struct SettingsSection {
    std::string id;
    std::string title;
    std::vector<SettingsRow> rows;

    friend bool operator==(const SettingsSection&, const SettingsSection&) = default;
};

template <>
struct RecordFields<SettingsSection> {
    static constexpr std::tuple list{field("id", &SettingsSection::id),
                                     field("title", &SettingsSection::title),
                                     field("rows", &SettingsSection::rows)};
};

struct SettingsPresentation {
    std::string title;
    std::vector<SettingsSection> sections;

    friend bool operator==(const SettingsPresentation&, const SettingsPresentation&) = default;
};

template <>
struct RecordFields<SettingsPresentation> {
    static constexpr std::tuple list{field("title", &SettingsPresentation::title),
                                     field("sections", &SettingsPresentation::sections)};
};

SettingsPresentation settingsPresentation(const SurfaceInput& input);

/// A row's control was used: a toggle gives "true" or "false", a choice the option's id, a text
/// what was entered.
struct SettingEdit {
    std::string rowID;
    std::string value;
};

/// What an edit leads to: new settings, another statistics zone, or words on why not.
struct SettingOutcome {
    std::optional<AppSettingsValues> settings;
    std::optional<StatisticsTimeZonePreference> zone;
    std::string refusal;

    friend bool operator==(const SettingOutcome&, const SettingOutcome&) = default;
};

SettingOutcome applySetting(const SurfaceInput& input, const SettingEdit& edit);

/// A number of tokens as people write it: "2000000", "2,000,000", "1.5M", "200万"; empty is 0, no
/// goal. Nothing for anything else and for what is negative or too large.
std::optional<std::int64_t> tokenAmount(std::string_view text);

/// Why a press is no shortcut; empty for an escape and a deletion, which are answered by deed.
std::string shortcutRefusalText(MainWindowShortcutRefusal refusal, WidgetLanguage language);

}  // namespace vantry
