#pragma once

#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"
#include "presentation/dashboard/Panel.h"

namespace vantry {

/// One conversation or automation.
struct TaskRow {
    std::string title;
    std::string project;  ///< of an automation, when it runs
    std::string time;     ///< "5 min ago"; empty where nothing was observed
    std::string tokens;   ///< "today 1.2M"; empty where they are not known
    bool tokensAreStale = false;
    Action open;               ///< nothing for what has no conversation
    std::vector<Action> menu;  ///< of its context
    std::string tooltip;       ///< the whole title
    std::string accessibleName;

    friend bool operator==(const TaskRow&, const TaskRow&) = default;
};

template <>
struct RecordFields<TaskRow> {
    static constexpr std::tuple list{field("title", &TaskRow::title),
                                     field("project", &TaskRow::project),
                                     field("time", &TaskRow::time),
                                     field("tokens", &TaskRow::tokens),
                                     field("tokensAreStale", &TaskRow::tokensAreStale),
                                     field("open", &TaskRow::open),
                                     field("menu", &TaskRow::menu),
                                     field("tooltip", &TaskRow::tooltip),
                                     field("accessibleName", &TaskRow::accessibleName)};
};

struct TaskColumnView {
    std::string title;
    std::string meaning;
    std::string count;
    std::vector<TaskRow> rows;
    std::string emptyText;  ///< in the place of rows

    friend bool operator==(const TaskColumnView&, const TaskColumnView&) = default;
};

template <>
struct RecordFields<TaskColumnView> {
    using Column = TaskColumnView;
    static constexpr std::tuple list{field("title", &Column::title),
                                     field("meaning", &Column::meaning),
                                     field("count", &Column::count), field("rows", &Column::rows),
                                     field("emptyText", &Column::emptyText)};
};

struct TasksTab {
    std::vector<TaskColumnView> columns;
    std::optional<EmptyPanel> empty;  ///< in the place of columns
    std::string provenance;

    friend bool operator==(const TasksTab&, const TasksTab&) = default;
};

template <>
struct RecordFields<TasksTab> {
    static constexpr std::tuple list{field("columns", &TasksTab::columns),
                                     field("empty", &TasksTab::empty),
                                     field("provenance", &TasksTab::provenance)};
};

TasksTab tasksTab(const SurfaceInput& input);

/// "just now", "5 min ago", "3 h ago", and from a day on the moment itself.
std::string relativeTime(Date date, const Wording& words);

}  // namespace vantry
