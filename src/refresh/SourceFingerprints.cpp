#include "refresh/SourceFingerprints.h"

namespace vantry {

void SourceFingerprints::rememberFullRead(const Seen& seen, const UsageSnapshot& read) {
    if (!seen.localBefore) return;
    if (read.local && read.localUsageReadStatus == LocalUsageReadStatus::complete) {
        completeLocal = seen.localBefore;
        fastLocal = LocalUsageSourceReusePolicy::completedReadFingerprint(
            {.beforeRead = seen.localBefore, .afterRead = seen.localAfter});
    }
    if (read.taskBoard) taskBoard = seen.taskBoardBefore;
}

void SourceFingerprints::forgetLocal() {
    completeLocal.reset();
    fastLocal.reset();
}

bool isLocalUsageUnchanged(const SourceComparison& compared) {
    return LocalUsageSourceReusePolicy::mayReuse(
        {.currentFingerprint = compared.current,
         .previousFingerprint = compared.previous,
         .previousLocalUsageAvailable = compared.shown.local.has_value(),
         .previousReadStatus = compared.shown.localUsageReadStatus,
         .previousCapturedAt = compared.shown.localUsageCapturedAt,
         .now = compared.now});
}

bool isTaskBoardUnchanged(const SourceComparison& compared) {
    return RefreshSourceFingerprintReusePolicy::matches(
               {.current = compared.current, .previous = compared.previous}) &&
           TaskBoardSourceReusePolicy::mayReuse(compared.shown.taskBoard, compared.now);
}

}  // namespace vantry
