#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "records/TaskBoard.h"

/// What of the task board is shown. Archived conversations are read but not shown.
namespace vantry::TaskBoardPresentation {

/// The shown columns in the order on screen.
inline constexpr std::array visibleKinds{TaskColumnKind::active, TaskColumnKind::pending,
                                         TaskColumnKind::scheduled};

/// Titles for English surfaces; a read's own titles are Chinese.
inline constexpr std::array englishTitles{
    std::pair{TaskColumnKind::active, std::string_view("Recent activity")},
    std::pair{TaskColumnKind::pending, std::string_view("Other conversations")},
    std::pair{TaskColumnKind::scheduled, std::string_view("Scheduled")},
    std::pair{TaskColumnKind::done, std::string_view("Archived today")}};

/// The columns of visibleKinds, in that order, as far as they are there.
std::vector<TaskColumn> visibleColumns(const std::vector<TaskColumn>& columns);

/// The items of the visible columns.
std::int64_t visibleCount(const std::vector<TaskColumn>& columns);

}  // namespace vantry::TaskBoardPresentation
