#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/RecordFields.h"

namespace vantry {

enum class TaskColumnKind : std::uint8_t { active, pending, scheduled, done };

template <>
struct EnumTexts<TaskColumnKind> {
    static constexpr std::array table{
        std::pair{TaskColumnKind::active, std::string_view("active")},
        std::pair{TaskColumnKind::pending, std::string_view("pending")},
        std::pair{TaskColumnKind::scheduled, std::string_view("scheduled")},
        std::pair{TaskColumnKind::done, std::string_view("done")}};
};

struct TaskItem {
    std::string id;
    std::string code;
    std::string title;
    std::string detail;
    std::string chip;
    std::optional<Date> updatedAt;
    std::optional<std::int64_t> tokens;  ///< today's, of this conversation
    TaskColumnKind kind = TaskColumnKind::pending;
    std::optional<std::string> threadID;
    bool tokensAreStale = false;

    friend bool operator==(const TaskItem&, const TaskItem&) = default;
};

template <>
struct RecordFields<TaskItem> {
    static constexpr std::tuple list{storedField("id", &TaskItem::id),
                                     storedField("code", &TaskItem::code),
                                     field("title", &TaskItem::title),
                                     field("detail", &TaskItem::detail),
                                     storedField("chip", &TaskItem::chip),
                                     field("updatedAt", &TaskItem::updatedAt),
                                     field("tokens", &TaskItem::tokens),
                                     storedField("kind", &TaskItem::kind),
                                     storedField("threadID", &TaskItem::threadID),
                                     storedField("tokensAreStale", &TaskItem::tokensAreStale)};
};

struct TaskColumn {
    TaskColumnKind id = TaskColumnKind::pending;
    std::int64_t count = 0;
    std::vector<TaskItem> items;

    friend bool operator==(const TaskColumn&, const TaskColumn&) = default;
};

template <>
struct RecordFields<TaskColumn> {
    static constexpr std::tuple list{storedField("id", &TaskColumn::id),
                                     field("count", &TaskColumn::count),
                                     field("items", &TaskColumn::items)};
};

/// What Codex's conversations are doing, in columns.
struct TaskBoard {
    Date refreshedAt;
    std::vector<TaskColumn> columns;

    /// Over all columns.
    std::int64_t totalCount() const;

    /// Binds today's tokens to the items: a thread of the map gets its value, a measured zero
    /// included, and every other thread gets none. Items without a thread stay as they are.
    TaskBoard replacingTodayConversationTokens(
        const std::map<std::string, std::int64_t>& tokensByThreadID, bool isStale) const;

    friend bool operator==(const TaskBoard&, const TaskBoard&) = default;
};

template <>
struct RecordFields<TaskBoard> {
    static constexpr std::tuple list{
        field("refreshedAt", &TaskBoard::refreshedAt),
        shownField<TaskBoard>("totalCount",
                              [](const TaskBoard& board) { return board.totalCount(); }),
        field("columns", &TaskBoard::columns)};
};

}  // namespace vantry
