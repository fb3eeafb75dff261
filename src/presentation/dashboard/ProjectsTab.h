#pragma once

#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"
#include "presentation/dashboard/Panel.h"
#include "presentation/dashboard/ProjectDetailPanel.h"

namespace vantry {

/// One place of a ranking.
struct RankingRow {
    std::string id;
    std::string name;
    std::string detail;              ///< of a project its path
    std::optional<double> fraction;  ///< of the longest bar, 0...1
    std::string value;               ///< tokens, or how often
    std::string share;               ///< "37%"; empty where there is no whole
    std::string secondary;           ///< "14 conversations"
    bool isSelected = false;
    Action open;
    std::string tooltip;
    std::string accessibleName;

    friend bool operator==(const RankingRow&, const RankingRow&) = default;
};

template <>
struct RecordFields<RankingRow> {
    using Row = RankingRow;
    static constexpr std::tuple list{field("id", &Row::id),
                                     field("name", &Row::name),
                                     field("detail", &Row::detail),
                                     field("fraction", &Row::fraction),
                                     field("value", &Row::value),
                                     field("share", &Row::share),
                                     field("secondary", &Row::secondary),
                                     field("isSelected", &Row::isSelected),
                                     field("open", &Row::open),
                                     field("tooltip", &Row::tooltip),
                                     field("accessibleName", &Row::accessibleName)};
};

struct ProjectBoardPanel {
    std::string title;
    std::string badge;  ///< "LOCAL" where the rows are of this computer alone
    std::vector<PickerOption> timeframes;
    std::string filterPlaceholder;
    std::string filter;
    std::vector<RankingRow> rows;
    std::string summary;  ///< how many are new
    std::optional<Figure> unattributed;
    std::vector<std::string> notes;
    std::optional<EmptyPanel> empty;
    Action refreshNames;
    std::string provenance;

    friend bool operator==(const ProjectBoardPanel&, const ProjectBoardPanel&) = default;
};

template <>
struct RecordFields<ProjectBoardPanel> {
    using Panel = ProjectBoardPanel;
    static constexpr std::tuple list{field("title", &Panel::title),
                                     field("badge", &Panel::badge),
                                     field("timeframes", &Panel::timeframes),
                                     field("filterPlaceholder", &Panel::filterPlaceholder),
                                     field("filter", &Panel::filter),
                                     field("rows", &Panel::rows),
                                     field("summary", &Panel::summary),
                                     field("unattributed", &Panel::unattributed),
                                     field("notes", &Panel::notes),
                                     field("empty", &Panel::empty),
                                     field("refreshNames", &Panel::refreshNames),
                                     field("provenance", &Panel::provenance)};
};

struct ProjectsTab {
    ProjectBoardPanel board;
    std::optional<ProjectDetailPanel> detail;  ///< of the selected project

    friend bool operator==(const ProjectsTab&, const ProjectsTab&) = default;
};

template <>
struct RecordFields<ProjectsTab> {
    static constexpr std::tuple list{field("board", &ProjectsTab::board),
                                     field("detail", &ProjectsTab::detail)};
};

ProjectsTab projectsTab(const SurfaceInput& input);

/// The part of a whole that a bar and its "37%" show.
struct Share {
    std::int64_t part = 0;
    std::int64_t whole = 0;
};
/// Nothing of a whole that is not above zero.
std::optional<double> fractionOf(const Share& share);
std::string shareText(const Share& share);

}  // namespace vantry
