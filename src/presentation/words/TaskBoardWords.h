#pragma once

#include "presentation/words/Language.h"
#include "records/TaskBoard.h"

/// The words of the task board and of the projects beside it.
namespace vantry {

constexpr BilingualText columnTitle(TaskColumnKind kind) {
    switch (kind) {
        case TaskColumnKind::active:
            return {.zh = "最近活跃", .en = "Recent activity"};
        case TaskColumnKind::pending:
            return {.zh = "其他会话", .en = "Other conversations"};
        case TaskColumnKind::scheduled:
            return {.zh = "定时", .en = "Scheduled"};
        case TaskColumnKind::done:
            break;
    }
    return {.zh = "今日归档", .en = "Archived today"};
}

/// The project of conversations that worked in no folder.
constexpr BilingualText unclassifiedProject{.zh = "未归类", .en = "Unclassified"};

}  // namespace vantry
