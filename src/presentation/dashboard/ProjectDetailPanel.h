#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"
#include "presentation/dashboard/Panel.h"

namespace vantry {

/// A day of the project's bars.
struct ProjectBar {
    std::string id;  ///< day key
    std::int64_t tokens = 0;
    bool isToday = false;
    bool isInTimeframe = false;
    std::string tooltip;

    friend bool operator==(const ProjectBar&, const ProjectBar&) = default;
};

template <>
struct RecordFields<ProjectBar> {
    static constexpr std::tuple list{
        field("id", &ProjectBar::id), field("tokens", &ProjectBar::tokens),
        field("isToday", &ProjectBar::isToday), field("isInTimeframe", &ProjectBar::isInTimeframe),
        field("tooltip", &ProjectBar::tooltip)};
};

/// A conversation, or a tool with its calls.
struct ProjectDetailRow {
    std::string name;
    std::string value;
    std::string badge;  ///< "Subagent"
    Action open;
    std::string tooltip;

    friend bool operator==(const ProjectDetailRow&, const ProjectDetailRow&) = default;
};

template <>
struct RecordFields<ProjectDetailRow> {
    using Row = ProjectDetailRow;
    static constexpr std::tuple list{field("name", &Row::name), field("value", &Row::value),
                                     field("badge", &Row::badge), field("open", &Row::open),
                                     field("tooltip", &Row::tooltip)};
};

struct ProjectDetailPanel {
    std::string name;
    std::string path;
    std::vector<PickerOption> timeframes;
    Figure tokens;
    std::string conversationCount;
    std::string trendTitle;
    std::vector<ProjectBar> bars;  ///< 30 days
    std::string conversationsTitle;
    std::vector<ProjectDetailRow> conversations;
    std::string toolsTitle;
    std::vector<ProjectDetailRow> tools;
    std::string basis;
    std::string badge;
    std::optional<EmptyPanel> empty;
    Action back;
    std::string accessibleName;

    friend bool operator==(const ProjectDetailPanel&, const ProjectDetailPanel&) = default;
};

template <>
struct RecordFields<ProjectDetailPanel> {
    using Panel = ProjectDetailPanel;
    static constexpr std::tuple list{field("name", &Panel::name),
                                     field("path", &Panel::path),
                                     field("timeframes", &Panel::timeframes),
                                     field("tokens", &Panel::tokens),
                                     field("conversationCount", &Panel::conversationCount),
                                     field("trendTitle", &Panel::trendTitle),
                                     field("bars", &Panel::bars),
                                     field("conversationsTitle", &Panel::conversationsTitle),
                                     field("conversations", &Panel::conversations),
                                     field("toolsTitle", &Panel::toolsTitle),
                                     field("tools", &Panel::tools),
                                     field("basis", &Panel::basis),
                                     field("badge", &Panel::badge),
                                     field("empty", &Panel::empty),
                                     field("back", &Panel::back),
                                     field("accessibleName", &Panel::accessibleName)};
};

/// The project's own figures. Its row may come from an estimate; its detail is always local.
ProjectDetailPanel projectDetailPanel(const SurfaceInput& input, const ProjectUsage& project);

/// The name as it is shown: conversations without a folder have one too.
std::string projectName(const std::string& name, const Wording& words);
/// The path with the home as "~".
std::string projectPath(const std::string& path, const MachineFacts& machine);

}  // namespace vantry
