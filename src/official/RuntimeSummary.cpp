#include "official/RuntimeSummary.h"

namespace vantry {

RuntimeQuotaWindowSelection selectedQuotaWindow(const UsageSnapshot& snapshot) {
    return RuntimeQuotaWindowPolicy::selected({.account = snapshot.account,
                                               .primary = snapshot.primary,
                                               .secondary = snapshot.secondary});
}

RuntimeMenuSummary summary(const RuntimeUsageSnapshot& runtime, Date time) {
    const RuntimeQuotaWindowSelection selection = selectedQuotaWindow(runtime.snapshot);
    RuntimeMenuSummary result{.scope = runtime.scope,
                              .displayName = std::string(displayName(runtime.scope)),
                              .status = runtime.status,
                              .quotaWindowKind = selection.kind,
                              .todayTokens = runtime.todayTokens()};
    if (selection.window && QuotaWindowPresentation::isValid(
                                {.resetsAt = selection.window->resetsAt,
                                 .capturedAt = runtime.quotaCapturedAt,
                                 .windowDurationMins = selection.window->windowDurationMins},
                                time)) {
        result.quotaRemainingPercent = selection.window->remainingPercent();
        result.quotaResetsAt = selection.window->resetsAt;
    } else if (result.status == RuntimeMenuStatus::available ||
               result.status == RuntimeMenuStatus::stale) {
        result.status =
            runtime.snapshot.local ? RuntimeMenuStatus::localOnly : RuntimeMenuStatus::unavailable;
    }
    return result;
}

}  // namespace vantry
