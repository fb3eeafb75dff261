#include "presentation/dashboard/SkillsTab.h"

#include <algorithm>
#include <fmt/format.h>

#include "platform/Text.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/DashboardWords.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/QuotaWords.h"

namespace vantry {

namespace {

constexpr std::size_t mostRows = 20;

/// How events of a kind are counted in words.
struct EventWords {
    const BilingualText& one;
    const BilingualText& many;
};
constexpr EventWords loadWords{DashboardWords::load, DashboardWords::loads};
constexpr EventWords callWords{DashboardWords::call, DashboardWords::calls};

class TabMaker {
  public:
    explicit TabMaker(const SurfaceInput& input) : input_(input), words_(input.wording()) {}

    SkillsTab tab() {
        SkillsTab tab{.skills = panelOf(DashboardWords::skillUsage),
                      .tools = panelOf(DashboardWords::toolUsage)};
        const UsageSnapshot& snapshot = input_.snapshot();
        const LocalUsage* local = input_.local();
        if (local == nullptr ||
            !ReaderControlState::localDetailedUsageIsAvailable(snapshot.localUsageReadStatus,
                                                               local->detailedUsage.has_value())) {
            const EmptyPanel empty = input_.isFirstRead()
                                         ? EmptyPanel{words_(QuotaWords::reading), ""}
                                         : EmptyPanel{words_(DashboardWords::skillsUnavailable),
                                                      words_(FigureWords::notKnownHere)};
            tab.skills.empty = tab.tools.empty = empty;
            return tab;
        }
        addSkills(tab.skills, *local);
        addTools(tab.tools, *local);
        return tab;
    }

  private:
    DimensionPanel panelOf(const BilingualText& title) const {
        return {.title = words_(title), .provenance = words_.provenance(input_.localOrigin())};
    }

    void addSkills(DimensionPanel& panel, const LocalUsage& local) {
        std::int64_t most = 0;
        for (const SkillUsage& skill : local.skillUsages) most = std::max(most, skill.loadCount);
        for (const SkillUsage& skill : local.skillUsages) {
            if (panel.rows.size() == mostRows) break;
            RankingRow row{.id = skill.id,
                           .name = validUtf8(skill.name),
                           .detail = validUtf8(skill.sourceLabel),
                           .fraction = fractionOf({.part = skill.loadCount, .whole = most}),
                           .value = words_.counted(skill.loadCount, loadWords.one, loadWords.many),
                           .secondary = words_.counted(skill.threadCount, FigureWords::conversation,
                                                       FigureWords::conversations)};
            row.open = {.kind = ActionKind::openSkill,
                        .target = skill.id,
                        .title = words_(DashboardWords::showProjects)};
            const std::string size =
                words_(FigureWords::spoken, words_(DashboardWords::skillTokens),
                       TokenFormatter::format(skill.staticTokenEstimate));
            row.tooltip = validUtf8(skill.path) + " · " + size;
            if (skill.lastLoadedAt) {
                row.tooltip +=
                    " · " + words_(DashboardWords::lastLoaded, words_.moment(*skill.lastLoadedAt));
            }
            row.detail += " · " + size;
            finish(panel, std::move(row), input_.navigation.unfoldedSkillID,
                   breakdown(local).projectsBySkillID, loadWords);
        }
        if (panel.rows.empty()) {
            panel.empty = {words_(DashboardWords::noSkills),
                           words_(DashboardWords::noSkillsReason)};
        }
    }

    void addTools(DimensionPanel& panel, const LocalUsage& local) {
        std::int64_t most = 0;
        for (const ToolUsage& tool : local.toolUsages) most = std::max(most, tool.callCount);
        for (const ToolUsage& tool : local.toolUsages) {
            if (panel.rows.size() == mostRows) break;
            RankingRow row{.id = tool.id,
                           .name = validUtf8(tool.name),
                           .detail = validUtf8(tool.category),
                           .fraction = fractionOf({.part = tool.callCount, .whole = most}),
                           .value = words_.counted(tool.callCount, callWords.one, callWords.many)};
            row.open = {.kind = ActionKind::openTool,
                        .target = tool.id,
                        .title = words_(DashboardWords::showProjects)};
            row.tooltip = row.name;
            finish(panel, std::move(row), input_.navigation.unfoldedToolID,
                   breakdown(local).projectsByToolID, callWords);
        }
        if (panel.rows.empty()) {
            panel.empty = {words_(DashboardWords::noTools), words_(DashboardWords::noToolsReason)};
        }
    }

    static const UsageDimensionBreakdown& breakdown(const LocalUsage& local) {
        static const UsageDimensionBreakdown none;
        return local.projectBoard ? local.projectBoard->dimensionBreakdown : none;
    }

    using ProjectsByID = std::map<std::string, std::vector<UsageDimensionProject>>;

    void finish(DimensionPanel& panel, RankingRow row, const std::optional<std::string>& unfolded,
                const ProjectsByID& projectsByID, const EventWords& events) const {
        row.isSelected = unfolded == row.id;
        row.accessibleName = fmt::format("{}, {}", row.name, row.value);
        if (!row.secondary.empty()) row.accessibleName += ", " + row.secondary;
        DimensionRow shown{.row = std::move(row)};
        shown.isUnfolded = shown.row.isSelected;
        const auto projects = projectsByID.find(shown.row.id);
        if (shown.isUnfolded && projects != projectsByID.end()) {
            addProjects(shown, projects->second, events);
        }
        panel.rows.push_back(std::move(shown));
    }

    void addProjects(DimensionRow& shown, const std::vector<UsageDimensionProject>& projects,
                     const EventWords& events) const {
        std::int64_t most = 0;
        for (const UsageDimensionProject& project : projects) {
            most = std::max(most, project.eventCount);
        }
        for (const UsageDimensionProject& project : projects) {
            RankingRow row{
                .id = project.id,
                .name = projectName(project.name, words_),
                .fraction = fractionOf({.part = project.eventCount, .whole = most}),
                .value = words_.counted(project.eventCount, events.one, events.many),
                .secondary = words_.counted(project.threadCount, FigureWords::conversation,
                                            FigureWords::conversations)};
            row.open = {.kind = ActionKind::openProject, .target = project.id, .title = row.name};
            row.tooltip = row.name;
            row.accessibleName = fmt::format("{}, {}, {}", row.name, row.value, row.secondary);
            shown.projects.push_back(std::move(row));
        }
    }

    const SurfaceInput& input_;
    Wording words_;
};

}  // namespace

SkillsTab skillsTab(const SurfaceInput& input) {
    return TabMaker(input).tab();
}

}  // namespace vantry
