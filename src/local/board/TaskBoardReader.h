#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/JsonReader.h"
#include "records/Notice.h"
#include "records/TaskBoard.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry::CodexUsageReader {

/// A read of the task board with what is to be said of it.
struct TaskBoardRead {
    std::optional<TaskBoard> board;
    Notices messages;
};

/// What Codex's conversations and automations are doing, from the user's own Codex, whatever home
/// the context names. All four columns, empty ones included. No board, and mostly a message, if
/// the thread index cannot be asked. Blocks for a few runs of `sqlite3`; any thread.
TaskBoardRead readTaskBoard(const RuntimeLoadContext& context);

/// The same from these folders.
TaskBoardRead readTaskBoardIn(const CodexFolders& codex, const RuntimeLoadContext& context);

struct ThreadTask {
    JsonView row;  ///< `id`, `title`, `cwd`
    std::optional<Date> updatedAt;
    TaskColumnKind kind = TaskColumnKind::pending;
};

/// The item of one conversation, without tokens.
TaskItem makeThreadTaskItem(const ThreadTask& task);

}  // namespace vantry::CodexUsageReader
