#pragma once

#include <optional>
#include <string>
#include <vector>

#include "records/TaskBoard.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry::CodexUsageReader {

/// A read of the task board with the words for its user.
struct TaskBoardRead {
    std::optional<TaskBoard> board;
    std::vector<std::string> messages;
};

/// What Codex's conversations are doing. This build does not read it: there is no board.
TaskBoardRead readTaskBoard(const RuntimeLoadContext& context);

}  // namespace vantry::CodexUsageReader
