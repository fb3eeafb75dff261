#include "local/TaskBoardReader.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "local/AutomationTasks.h"
#include "local/ConversationTitle.h"
#include "local/ProjectNames.h"
#include "local/StateDatabase.h"
#include "local/TaskEvidencePolicy.h"
#include "platform/UserDirectories.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr const char* sourceMissing = "任务看板未找到 SQLite 数据源";
constexpr const char* queryFailed = "任务看板 SQLite 查询失败";

// In the order of the board.
constexpr std::array columnTitles{
    std::pair{TaskColumnKind::active, "最近活跃"}, std::pair{TaskColumnKind::pending, "其他会话"},
    std::pair{TaskColumnKind::scheduled, "定时"}, std::pair{TaskColumnKind::done, "今日归档"}};

using ItemsByColumn = std::map<TaskColumnKind, std::vector<TaskItem>>;

/// Since 1970; nothing for a date that is not finite or does not fit.
std::optional<std::int64_t> wholeSeconds(Date date) {
    constexpr double limit = 9'223'372'036'854'775'808.0;
    const double seconds = std::floor(date.secondsSince1970());
    if (!(seconds >= -limit && seconds < limit)) return std::nullopt;
    return static_cast<std::int64_t>(seconds);
}

std::string openThreadsQuery(const std::string& dayStart) {
    return "SELECT id, title, cwd, updated_at AS updatedAt, recency_at AS recencyAt, model\n"
           "FROM threads\n"
           "WHERE archived = 0\n"
           "  AND COALESCE(thread_source, '') <> 'subagent'\n"
           "  AND (\n"
           "    updated_at >= " +
           dayStart +
           "\n"
           "    OR recency_at >= " +
           dayStart +
           "\n"
           "    OR created_at >= " +
           dayStart +
           "\n"
           "  )\n"
           "ORDER BY COALESCE(NULLIF(recency_at, 0), updated_at) DESC, updated_at DESC;";
}

struct ArchivedBetween {
    std::string dayStart;
    std::string now;
};

std::string archivedThreadsQuery(const ArchivedBetween& times) {
    return "SELECT id, title, cwd, archived_at AS updatedAt, model\n"
           "FROM threads\n"
           "WHERE archived = 1\n"
           "  AND COALESCE(thread_source, '') <> 'subagent'\n"
           "  AND archived_at >= " +
           times.dayStart +
           "\n"
           "  AND archived_at <= " +
           times.now +
           "\n"
           "ORDER BY archived_at DESC;";
}

std::optional<Date> dateOf(JsonView value) {
    const auto number = doubleValue(value);
    return number ? TaskEvidencePolicy::dateFromEpoch(*number) : std::nullopt;
}

struct ThreadRows {
    JsonView rows;
    bool areArchived = false;
    Date now;
};

void addThreads(const ThreadRows& threads, ItemsByColumn& items) {
    threads.rows.forEachElement([&](JsonView row) {
        // Nothing could refer to a thread without an id.
        if (row["id"].text().value_or("").empty()) return true;
        const auto activity =
            TaskEvidencePolicy::latestObservedActivity({.recencyAt = dateOf(row["recencyAt"]),
                                                        .updatedAt = dateOf(row["updatedAt"]),
                                                        .now = threads.now});
        const TaskColumnKind kind =
            threads.areArchived
                ? TaskColumnKind::done
                : TaskEvidencePolicy::column({.lastActivityAt = activity, .now = threads.now});
        items[kind].push_back(
            makeThreadTaskItem({.row = row, .updatedAt = activity, .kind = kind}));
        return true;
    });
}

TaskBoard boardOf(ItemsByColumn items, Date now) {
    TaskBoard board{.refreshedAt = now};
    for (const auto& [kind, title] : columnTitles) {
        TaskColumn& column = board.columns.emplace_back();
        column.id = kind;
        column.title = title;
        column.items = TaskEvidencePolicy::sortedByActivity(std::move(items[kind]));
        column.count = static_cast<std::int64_t>(column.items.size());
    }
    return board;
}

// Neighbours begin alike, because an id begins with the time of its making.
std::string_view lastCharacters(std::string_view text, std::size_t count) {
    text.remove_prefix(text.size() - std::min(count, text.size()));
    while (!text.empty() && (static_cast<unsigned char>(text.front()) & 0xC0) == 0x80) {
        text.remove_prefix(1);
    }
    return text;
}

}  // namespace

TaskItem makeThreadTaskItem(const ThreadTask& task) {
    const std::string id(task.row["id"].text().value_or(""));
    return TaskItem{
        .id = id,
        .code = "COD-" + std::string(lastCharacters(id, 6)),
        .title = normalizedThreadTitle(task.row["title"].text().value_or("")),
        .detail = shortWorkspaceName(task.row["cwd"].text().value_or("")),
        .chip = std::string(TaskEvidencePolicy::chip(task.kind, task.updatedAt.has_value())),
        .updatedAt = task.updatedAt,
        .kind = task.kind,
        .threadID = id};
}

TaskBoardRead readTaskBoardBelow(const std::filesystem::path& home,
                                 const RuntimeLoadContext& context) {
    const auto databases = stateDatabasePaths(CodexFolders::below(home));
    const auto program = firstExistingPath(sqliteProgramCandidates());
    if (databases.empty() || !program) return {.messages = {sourceMissing}};
    const auto dayStart = wholeSeconds(context.statistics.startOfDay(context.now));
    const auto now = wholeSeconds(context.now);
    if (!dayStart || !now) return {};
    const auto rowsOf = [&](std::string query) {
        return runSQLiteJSON(
            {.sqlitePath = *program, .databasePath = databases.front(), .query = std::move(query)});
    };
    const auto open = rowsOf(openThreadsQuery(std::to_string(*dayStart)));
    if (!open) return {.messages = {queryFailed}};
    const auto archived = rowsOf(
        archivedThreadsQuery({.dayStart = std::to_string(*dayStart), .now = std::to_string(*now)}));
    if (!archived) return {.messages = {queryFailed}};
    ItemsByColumn items;
    addThreads({.rows = open->root(), .now = context.now}, items);
    addThreads({.rows = archived->root(), .areArchived = true, .now = context.now}, items);
    items[TaskColumnKind::scheduled] = readAutomationTasks(home);
    return {.board = boardOf(std::move(items), context.now)};
}

TaskBoardRead readTaskBoard(const RuntimeLoadContext& context) {
    return readTaskBoardBelow(UserDirectories::realHome(), context);
}

}  // namespace vantry::CodexUsageReader
