#include "refresh/RefreshSourceReusePolicies.h"

#include <algorithm>

#include "local/board/TaskEvidencePolicy.h"

namespace vantry {

bool RefreshSourceFingerprintReusePolicy::matches(const Fingerprints& fingerprints) {
    return fingerprints.current && fingerprints.previous &&
           *fingerprints.current == *fingerprints.previous;
}

bool LocalUsageSourceReusePolicy::mayReuse(const PreviousRead& read) {
    return read.previousLocalUsageAvailable &&
           read.previousReadStatus == LocalUsageReadStatus::complete &&
           !(read.previousCapturedAt && *read.previousCapturedAt > read.now) &&
           RefreshSourceFingerprintReusePolicy::matches(
               {.current = read.currentFingerprint, .previous = read.previousFingerprint});
}

std::optional<CodexRefreshSourceFingerprint::Value>
LocalUsageSourceReusePolicy::completedReadFingerprint(const ReadBounds& bounds) {
    const bool isCovered = RefreshSourceFingerprintReusePolicy::matches(
        {.current = bounds.afterRead, .previous = bounds.beforeRead});
    return isCovered ? bounds.beforeRead : std::nullopt;
}

bool TaskBoardSourceReusePolicy::mayReuse(const std::optional<TaskBoard>& board, Date now) {
    if (!board) return false;
    const auto active = std::ranges::find(board->columns, TaskColumnKind::active, &TaskColumn::id);
    return active == board->columns.end() ||
           std::ranges::all_of(active->items, [&](const TaskItem& item) {
               return item.updatedAt &&
                      now - *item.updatedAt <= TaskEvidencePolicy::recentActivityInterval;
           });
}

}  // namespace vantry
