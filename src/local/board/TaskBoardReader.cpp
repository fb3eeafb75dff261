#include "local/board/TaskBoardReader.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <functional>
#include <map>

#include "local/board/AutomationTasks.h"
#include "local/board/TaskEvidencePolicy.h"
#include "local/index/ConversationTitle.h"
#include "local/index/ProjectNames.h"
#include "local/index/StateDatabase.h"

namespace vantry::CodexUsageReader {

namespace {

// In the order of the board.
constexpr std::array columnKinds{TaskColumnKind::active, TaskColumnKind::pending,
                                 TaskColumnKind::scheduled, TaskColumnKind::done};

using ItemsByColumn = std::map<TaskColumnKind, std::vector<TaskItem>>;

/// Since 1970; nothing for a date that is not finite or does not fit.
std::optional<std::int64_t> wholeSeconds(Date date) {
    constexpr double limit = 9'223'372'036'854'775'808.0;
    const double seconds = std::floor(date.secondsSince1970());
    if (!(seconds >= -limit && seconds < limit)) return std::nullopt;
    return static_cast<std::int64_t>(seconds);
}

/// The bounds of a board, as whole seconds since 1970.
struct BoardTimes {
    std::int64_t dayStart = 0;
    std::int64_t now = 0;
};

// A table without origins of their own may still tell them as Codex's JSON.
std::string isNoSubagent(const ThreadTable& table) {
    constexpr const char* fromSource = "CASE WHEN source LIKE '{\"subagent\"%' THEN 'subagent' END";
    const std::string standIn = table.columns.contains("source") ? fromSource : "NULL";
    return "COALESCE(" + table.column("thread_source", standIn) + ", '') <> 'subagent'";
}

std::string openThreadsQuery(const ThreadTable& table, const BoardTimes& times) {
    return fmt::format(
        "SELECT id, {title} AS title, {cwd} AS cwd, updated_at AS updatedAt,\n"
        "       {recency} AS recencyAt\n"
        "FROM threads\n"
        "WHERE {archived} = 0\n"
        "  AND {isNoSubagent}\n"
        "  AND (updated_at >= {dayStart} OR {recency} >= {dayStart} OR {created} >= {dayStart});",
        fmt::arg("title", table.column("title", "''")), fmt::arg("cwd", table.column("cwd", "''")),
        fmt::arg("recency", table.column("recency_at", "updated_at")),
        fmt::arg("archived", table.column("archived", "0")),
        fmt::arg("isNoSubagent", isNoSubagent(table)), fmt::arg("dayStart", times.dayStart),
        fmt::arg("created", table.column("created_at", "updated_at")));
}

// A thread whose time of archiving is not known is not one of today's.
std::string archivedThreadsQuery(const ThreadTable& table, const BoardTimes& times) {
    return fmt::format(
        "SELECT id, {title} AS title, {cwd} AS cwd, {archivedAt} AS updatedAt\n"
        "FROM threads\n"
        "WHERE {archived} = 1\n"
        "  AND {isNoSubagent}\n"
        "  AND {archivedAt} BETWEEN {dayStart} AND {now};",
        fmt::arg("title", table.column("title", "''")), fmt::arg("cwd", table.column("cwd", "''")),
        fmt::arg("archivedAt", table.column("archived_at", "NULL")),
        fmt::arg("archived", table.column("archived", "0")),
        fmt::arg("isNoSubagent", isNoSubagent(table)), fmt::arg("dayStart", times.dayStart),
        fmt::arg("now", times.now));
}

std::optional<Date> dateOf(JsonView value) {
    const auto number = doubleValue(value);
    return number ? TaskEvidencePolicy::dateFromEpoch(*number) : std::nullopt;
}

struct ThreadRows {
    JsonView rows;
    bool areArchived = false;
    Date now;
    std::function<bool(std::string_view id)> isTaken;  ///< or there is a later row of the thread
};

void addThreads(const ThreadRows& threads, ItemsByColumn& items) {
    threads.rows.forEachElement([&](JsonView row) {
        const std::string_view id = row["id"].text().value_or("");
        // Nothing could refer to a thread without an id.
        if (id.empty() || !threads.isTaken(id)) return true;
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

/// False if a table does not answer.
bool addThreadsOf(const StateDatabase& database, const RuntimeLoadContext& context,
                  const BoardTimes& times, ItemsByColumn& items) {
    // With one table there is nothing to choose.
    SQLiteReadResult<ThreadOwners> read;
    if (database.tables.size() > 1) read = readThreadOwners(database);
    const auto* owners = std::get_if<ThreadOwners>(&read);
    if (owners == nullptr) return false;
    for (const ThreadTable& table : database.tables) {
        const auto isTaken = [&](std::string_view id) {
            const auto owner = owners->find(id);
            return owner == owners->end() || owner->second.table == &table;
        };
        const auto open = runThreadQuery(database, table, openThreadsQuery(table, times));
        if (!open) return false;
        const auto archived = runThreadQuery(database, table, archivedThreadsQuery(table, times));
        if (!archived) return false;
        addThreads({.rows = open->root(), .now = context.now, .isTaken = isTaken}, items);
        addThreads(
            {.rows = archived->root(), .areArchived = true, .now = context.now, .isTaken = isTaken},
            items);
    }
    return true;
}

TaskBoard boardOf(ItemsByColumn items, Date now) {
    TaskBoard board{.refreshedAt = now};
    for (const TaskColumnKind kind : columnKinds) {
        TaskColumn& column = board.columns.emplace_back();
        column.id = kind;
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

TaskBoardRead readTaskBoardIn(const CodexFolders& codex, const RuntimeLoadContext& context) {
    const auto databases = stateDatabasePaths(codex);
    const auto program = firstExistingPath(sqliteProgramCandidates());
    if (databases.empty() || !program) return {.messages = {{NoticeKind::taskBoardSourceMissing}}};
    const auto dayStart = wholeSeconds(context.statistics.startOfDay(context.now));
    const auto now = wholeSeconds(context.now);
    if (!dayStart || !now) return {};
    const auto state = openStateDatabase(
        {.sqlitePath = *program, .databasePaths = databases, .cancellation = context.cancellation});
    const auto* database = std::get_if<StateDatabase>(&state);
    ItemsByColumn items;
    if (database == nullptr ||
        !addThreadsOf(*database, context, {.dayStart = *dayStart, .now = *now}, items)) {
        return {.messages = {{NoticeKind::taskBoardQueryFailed}}};
    }
    items[TaskColumnKind::scheduled] = readAutomationTasks(codex.home);
    return {.board = boardOf(std::move(items), context.now)};
}

TaskBoardRead readTaskBoard(const RuntimeLoadContext& context) {
    return readTaskBoardIn(context.userCodex(), context);
}

}  // namespace vantry::CodexUsageReader
