#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/Calendar.h"
#include "records/Projects.h"

namespace vantry {

/// What a ranking of projects looks at; `recent` is seven days.
enum class ProjectTimeframe { today, recent, all };

/// What the detail of one project looks at. Each lies within the next.
enum class ProjectDetailTimeframe { today, sevenDays, thirtyDays };

struct ProjectSelection {
    std::string_view id;
    const ProjectBoard& board;
    /// The rows of the lifetime estimate; null where there is none.
    const std::vector<ProjectUsage>* estimatedAllProjects = nullptr;
};

/// The project's row as the board now has it, in the rows of the time frame: those of the estimate,
/// where there is one, for all time. Null without such a row. Lives as long as the board or the
/// estimate.
const ProjectUsage* selectedProject(ProjectTimeframe timeframe, const ProjectSelection& selection);

struct RecentProjectWindow {
    std::optional<Date> capturedAt;  ///< of the local batch that the board was made from
    const Calendar& calendar;
};

/// How many projects used their first tokens on the capture day or the six days before. Nothing
/// without a capture time, or as soon as one recent project's first activity is not known.
std::optional<std::int64_t> firstRecordedRecentProjectCount(const ProjectBoard& board,
                                                            const RecentProjectWindow& window);

}  // namespace vantry
