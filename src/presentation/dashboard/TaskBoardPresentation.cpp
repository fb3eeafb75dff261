#include "presentation/dashboard/TaskBoardPresentation.h"

#include <algorithm>

#include "records/TokenBreakdown.h"

namespace vantry::TaskBoardPresentation {

std::vector<TaskColumn> visibleColumns(const std::vector<TaskColumn>& columns) {
    std::vector<TaskColumn> visible;
    for (const TaskColumnKind kind : visibleKinds) {
        const auto found = std::ranges::find(columns, kind, &TaskColumn::id);
        if (found != columns.end()) visible.push_back(*found);
    }
    return visible;
}

std::int64_t visibleCount(const std::vector<TaskColumn>& columns) {
    std::int64_t total = 0;
    for (const TaskColumn& column : visibleColumns(columns)) {
        total = saturatingAdd(total, column.count);
    }
    return total;
}

}  // namespace vantry::TaskBoardPresentation
