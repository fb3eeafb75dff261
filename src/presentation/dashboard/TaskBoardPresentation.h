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

/// The columns of visibleKinds, in that order, as far as they are there.
std::vector<TaskColumn> visibleColumns(const std::vector<TaskColumn>& columns);

/// The items of the visible columns.
std::int64_t visibleCount(const std::vector<TaskColumn>& columns);

}  // namespace vantry::TaskBoardPresentation
