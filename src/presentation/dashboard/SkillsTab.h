#pragma once

#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"
#include "presentation/dashboard/ProjectsTab.h"

namespace vantry {

/// A Skill or a tool, with the projects that used it once it is unfolded.
struct DimensionRow {
    RankingRow row;
    bool isUnfolded = false;
    std::vector<RankingRow> projects;

    friend bool operator==(const DimensionRow&, const DimensionRow&) = default;
};

template <>
struct RecordFields<DimensionRow> {
    static constexpr std::tuple list{field("row", &DimensionRow::row),
                                     field("isUnfolded", &DimensionRow::isUnfolded),
                                     field("projects", &DimensionRow::projects)};
};

struct DimensionPanel {
    std::string title;
    std::vector<DimensionRow> rows;  ///< at most 20
    std::optional<EmptyPanel> empty;
    std::string provenance;

    friend bool operator==(const DimensionPanel&, const DimensionPanel&) = default;
};

template <>
struct RecordFields<DimensionPanel> {
    using Panel = DimensionPanel;
    static constexpr std::tuple list{field("title", &Panel::title), field("rows", &Panel::rows),
                                     field("empty", &Panel::empty),
                                     field("provenance", &Panel::provenance)};
};

struct SkillsTab {
    DimensionPanel skills;
    DimensionPanel tools;

    friend bool operator==(const SkillsTab&, const SkillsTab&) = default;
};

template <>
struct RecordFields<SkillsTab> {
    static constexpr std::tuple list{field("skills", &SkillsTab::skills),
                                     field("tools", &SkillsTab::tools)};
};

SkillsTab skillsTab(const SurfaceInput& input);

}  // namespace vantry
