#include "presentation/dashboard/ProjectsTab.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>

#include "platform/Text.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/DashboardWords.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/QuotaWords.h"
#include "statistics/ProjectLifetimeEstimate.h"

namespace vantry {

namespace {

struct Frame {
    ProjectTimeframe timeframe;
    BilingualText title;
    BilingualText meaning;
};

constexpr std::array frames{
    Frame{ProjectTimeframe::today, DashboardWords::today, DashboardWords::viewToday},
    Frame{ProjectTimeframe::recent, DashboardWords::sevenDays, DashboardWords::viewRecent},
    Frame{ProjectTimeframe::all, DashboardWords::allTime, DashboardWords::viewAll}};

std::optional<ProjectLifetimeEstimate::Result> lifetimeEstimate(const UsageSnapshot& snapshot,
                                                                const ProjectBoard& board) {
    if (!snapshot.cloudDailyBuckets || !snapshot.officialLifetimeTokens) return std::nullopt;
    return ProjectLifetimeEstimate::make(
        {.projects = board.allProjects,
         .localDailyByProject = board.localDailyByProject,
         .officialDailyBuckets = *snapshot.cloudDailyBuckets,
         .officialLifetimeTokens = *snapshot.officialLifetimeTokens});
}

class TabMaker {
  public:
    explicit TabMaker(const SurfaceInput& input) : input_(input), words_(input.wording()) {}

    ProjectsTab tab() {
        ProjectBoardPanel& panel = tab_.board;
        panel.title = words_(DashboardWords::projects);
        panel.badge = words_(DashboardWords::localBadge);
        panel.filterPlaceholder = words_(DashboardWords::filter);
        panel.filter = input_.navigation.projectFilter;
        panel.refreshNames = {.kind = ActionKind::refreshProjectNames,
                              .title = words_(DashboardWords::refreshNames)};
        panel.provenance = words_.provenance(input_.localOrigin());
        for (const Frame& frame : frames) {
            panel.timeframes.push_back(
                {.title = words_(frame.title),
                 .isSelected = frame.timeframe == input_.navigation.projectTimeframe,
                 .action = {.kind = ActionKind::selectProjectTimeframe,
                            .target = std::string(rawText(frame.timeframe)),
                            .title = words_(frame.meaning)}});
        }
        const LocalUsage* local = input_.local();
        if (local == nullptr || !local->projectBoard) {
            panel.empty = input_.isFirstRead()
                              ? EmptyPanel{words_(QuotaWords::reading), ""}
                              : EmptyPanel{words_(DashboardWords::projectsUnavailable),
                                           words_(FigureWords::notReadYet)};
        } else {
            show(*local->projectBoard);
        }
        return std::move(tab_);
    }

  private:
    void show(const ProjectBoard& board) {
        using Timeframe = ProjectTimeframe;
        const Timeframe timeframe = input_.navigation.projectTimeframe;
        std::optional<ProjectLifetimeEstimate::Result> estimate;
        std::vector<ProjectUsage> rows;
        if (timeframe == Timeframe::today) {
            const bool isOfToday = input_.localOfToday() != nullptr;
            if (!isOfToday || !board.todayProjects) {
                tab_.board.empty = {words_(DashboardWords::projectActivityUnavailable),
                                    words_(FigureWords::notKnownHere)};
                return;
            }
            rows = *board.todayProjects;
        } else if (timeframe == Timeframe::recent) {
            rows = board.recentProjects;
            addNewProjects(board);
        } else {
            estimate = lifetimeEstimate(input_.snapshot(), board);
            rows = estimate ? estimate->projects : board.allProjects;
            addEstimateNotes(estimate);
        }
        addRows(rows, estimate ? estimate->unattributedTokens : 0);
        const auto& selected = input_.navigation.selectedProjectID;
        if (!selected) return;
        const ProjectUsage* project = selectedProject(
            timeframe, {.id = *selected,
                        .board = board,
                        .estimatedAllProjects = estimate ? &estimate->projects : nullptr});
        if (project != nullptr) tab_.detail = projectDetailPanel(input_, *project);
    }

    void addNewProjects(const ProjectBoard& board) {
        const auto count = firstRecordedRecentProjectCount(
            board,
            {.capturedAt = input_.snapshot().localUsageCapturedAt, .calendar = words_.calendar()});
        if (count && *count > 0) tab_.board.summary = words_(DashboardWords::newProjects, *count);
    }

    void addEstimateNotes(const std::optional<ProjectLifetimeEstimate::Result>& estimate) {
        std::vector<std::string>& notes = tab_.board.notes;
        if (!estimate) {
            notes.push_back(words_(DashboardWords::estimateNeedsOfficial));
            return;
        }
        tab_.board.badge.clear();
        tab_.board.provenance =
            words_.provenance({.source = FigureSource::accountAndComputer,
                               .capturedAt = input_.snapshot().cloudDailyUsageCapturedAt,
                               .isStale = input_.snapshot().cloudDailyUsageIsStale});
        notes.push_back(words_(DashboardWords::estimateMeaning));
        const std::string amount = TokenFormatter::format(estimate->unattributedTokens);
        Figure unattributed{.label = words_(DashboardWords::unattributed, amount),
                            .value = amount,
                            .tooltip = words_(DashboardWords::unattributedReason),
                            .accessibleName = words_(DashboardWords::unattributed, amount),
                            .isAvailable = true};
        tab_.board.unattributed = std::move(unattributed);
        if (input_.snapshot().cloudDailyUsageIsStale || input_.snapshot().officialLifetimeIsStale) {
            notes.push_back(words_(DashboardWords::estimateFromCache));
        }
    }

    bool isFiltered(const ProjectUsage& project) const {
        const std::string wanted = asciiLowercased(input_.navigation.projectFilter);
        const auto has = [&](const std::string& text) {
            return asciiLowercased(text).find(wanted) != std::string::npos;
        };
        return !has(projectName(project.name, words_)) && !has(project.fullPath);
    }

    void addRows(const std::vector<ProjectUsage>& projects, std::int64_t unattributed) {
        std::int64_t total = std::max<std::int64_t>(unattributed, 0);
        std::int64_t most = 0;
        for (const ProjectUsage& project : projects) {
            total = saturatingAdd(total, std::max<std::int64_t>(project.tokens, 0));
            most = std::max(most, project.tokens);
        }
        for (const ProjectUsage& project : projects) {
            if (isFiltered(project)) continue;
            tab_.board.rows.push_back(rowOf(project, total, most));
        }
        if (!tab_.board.rows.empty()) return;
        if (!projects.empty()) {
            tab_.board.empty = {
                words_(DashboardWords::nothingFiltered, input_.navigation.projectFilter), ""};
        } else if (input_.navigation.projectTimeframe == ProjectTimeframe::today) {
            tab_.board.empty = {words_(DashboardWords::noProjectsToday),
                                words_(DashboardWords::noProjectsTodayReason)};
        } else {
            tab_.board.empty = {words_(DashboardWords::noProjects),
                                words_(DashboardWords::noProjectsReason)};
        }
    }

    RankingRow rowOf(const ProjectUsage& project, std::int64_t total, std::int64_t most) const {
        RankingRow row{.id = project.id,
                       .name = projectName(project.name, words_),
                       .detail = project.fullPath.empty()
                                     ? words_(DashboardWords::withoutFolder)
                                     : projectPath(project.fullPath, input_.machine),
                       .fraction = fractionOf({.part = project.tokens, .whole = most}),
                       .value = TokenFormatter::format(project.tokens),
                       .share = shareText({.part = project.tokens, .whole = total}),
                       .secondary = words_.counted(project.threadCount, FigureWords::conversation,
                                                   FigureWords::conversations),
                       .isSelected = input_.navigation.selectedProjectID == project.id};
        row.open = {.kind = ActionKind::openProject, .target = project.id, .title = row.name};
        row.tooltip = validUtf8(project.fullPath.empty() ? row.name : project.fullPath) + " · " +
                      words_(FigureWords::tokens, words_.digits(project.tokens));
        if (project.estimatedCostUSD && row.fraction) {
            row.tooltip += " · " + words_(FigureWords::aboutDollars, *project.estimatedCostUSD);
        }
        row.accessibleName =
            fmt::format("{}, {}, {}, {}", row.name, row.value, row.share, row.secondary);
        return row;
    }

    const SurfaceInput& input_;
    Wording words_;
    ProjectsTab tab_;
};

}  // namespace

std::optional<double> fractionOf(const Share& share) {
    if (share.whole <= 0) return std::nullopt;
    return std::clamp(static_cast<double>(share.part) / static_cast<double>(share.whole), 0.0, 1.0);
}

std::string shareText(const Share& share) {
    const auto fraction = fractionOf(share);
    if (!fraction) return {};
    const double percent = *fraction * 100;
    if (percent > 0 && percent < 0.5) return "<1%";
    return fmt::format("{:.0f}%", std::round(percent));
}

ProjectsTab projectsTab(const SurfaceInput& input) {
    return TabMaker(input).tab();
}

}  // namespace vantry
