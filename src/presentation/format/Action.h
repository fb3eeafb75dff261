#pragma once

#include <string>

#include "platform/RecordFields.h"

namespace vantry {

/// What choosing something does. Faces carry it out and decide nothing.
enum class ActionKind : std::uint8_t {
    none,
    openDashboard,     ///< `target`: the tab's raw text, empty for the one that is open
    openSettings,      ///< `target`: the section's id, empty for the first
    openConversation,  ///< `target`: the thread's id
    openDocument,      ///< `target`: an address or the path of an installed page
    openProject,       ///< `target`: the project's id
    openTool,          ///< `target`: the tool's id, its projects unfold
    openSkill,         ///< `target`: the Skill's id, its projects unfold
    showTrend,         ///< from the models back to the days
    showModels,
    selectModel,       ///< `target`: the series' id, empty for all
    selectTrendRange,  ///< `target`: days
    selectModelRange,  ///< `target`: days
    selectProjectTimeframe,
    selectDetailTimeframe,
    closeProject,
    refreshProjectNames,
    copyText,  ///< `target`: the text
    refresh,
    acknowledgeDisclosure,
    dismissRecovery,
    resetStatusItem,
    quit,
};

template <>
struct EnumTexts<ActionKind> {
    using Kind = ActionKind;
    static constexpr std::array<std::pair<Kind, std::string_view>, 23> table{
        {{Kind::none, "none"},
         {Kind::openDashboard, "openDashboard"},
         {Kind::openSettings, "openSettings"},
         {Kind::openConversation, "openConversation"},
         {Kind::openDocument, "openDocument"},
         {Kind::openProject, "openProject"},
         {Kind::openTool, "openTool"},
         {Kind::openSkill, "openSkill"},
         {Kind::showTrend, "showTrend"},
         {Kind::showModels, "showModels"},
         {Kind::selectModel, "selectModel"},
         {Kind::selectTrendRange, "selectTrendRange"},
         {Kind::selectModelRange, "selectModelRange"},
         {Kind::selectProjectTimeframe, "selectProjectTimeframe"},
         {Kind::selectDetailTimeframe, "selectDetailTimeframe"},
         {Kind::closeProject, "closeProject"},
         {Kind::refreshProjectNames, "refreshProjectNames"},
         {Kind::copyText, "copyText"},
         {Kind::refresh, "refresh"},
         {Kind::acknowledgeDisclosure, "acknowledgeDisclosure"},
         {Kind::dismissRecovery, "dismissRecovery"},
         {Kind::resetStatusItem, "resetStatusItem"},
         {Kind::quit, "quit"}}};
};

struct Action {
    ActionKind kind = ActionKind::none;
    std::string target = {};
    std::string title = {};  ///< of a button, an entry of a menu or for a screen reader

    friend bool operator==(const Action&, const Action&) = default;
};

template <>
struct RecordFields<Action> {
    static constexpr std::tuple list{field("kind", &Action::kind), field("target", &Action::target),
                                     field("title", &Action::title)};
};

}  // namespace vantry
