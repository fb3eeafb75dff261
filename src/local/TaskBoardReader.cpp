#include "local/TaskBoardReader.h"

namespace vantry::CodexUsageReader {

TaskBoardRead readTaskBoard(const RuntimeLoadContext& /*context*/) {
    return {};
}

}  // namespace vantry::CodexUsageReader
