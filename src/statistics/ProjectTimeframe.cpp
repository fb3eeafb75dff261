#include "statistics/ProjectTimeframe.h"

#include <algorithm>

namespace vantry {

namespace {

const std::vector<ProjectUsage>* rows(ProjectTimeframe timeframe,
                                      const ProjectSelection& selection) {
    const ProjectBoard& board = selection.board;
    switch (timeframe) {
        case ProjectTimeframe::today:
            return board.todayProjects ? &*board.todayProjects : nullptr;
        case ProjectTimeframe::recent:
            return &board.recentProjects;
        case ProjectTimeframe::all:
            break;
    }
    return selection.estimatedAllProjects != nullptr ? selection.estimatedAllProjects
                                                     : &board.allProjects;
}

}  // namespace

const ProjectUsage* selectedProject(ProjectTimeframe timeframe, const ProjectSelection& selection) {
    const auto* list = rows(timeframe, selection);
    if (list == nullptr) return nullptr;
    const auto found = std::ranges::find(*list, selection.id, &ProjectUsage::id);
    return found == list->end() ? nullptr : &*found;
}

std::optional<std::int64_t> firstRecordedRecentProjectCount(const ProjectBoard& board,
                                                            const RecentProjectWindow& window) {
    if (!window.capturedAt) return std::nullopt;
    const auto start = window.calendar.startOfDayAdding(-6, *window.capturedAt);
    const auto end = window.calendar.startOfDayAdding(1, *window.capturedAt);
    if (!start || !end) return std::nullopt;
    std::int64_t count = 0;
    for (const ProjectUsage& project : board.recentProjects) {
        if (project.tokens <= 0) continue;
        if (!project.firstActiveAt) return std::nullopt;
        if (*project.firstActiveAt >= *start && *project.firstActiveAt < *end) ++count;
    }
    return count;
}

}  // namespace vantry
