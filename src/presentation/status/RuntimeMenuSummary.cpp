#include "presentation/status/RuntimeMenuSummary.h"

namespace vantry {

RuntimeMenuSummary summary(const RuntimeUsageSnapshot& runtime, Date time) {
    const RuntimeQuotaWindowSelection selection = selectedQuotaWindow(runtime.snapshot);
    RuntimeMenuSummary result{.scope = runtime.scope,
                              .displayName = std::string(displayName(runtime.scope)),
                              .status = runtime.status,
                              .quotaWindowKind = selection.kind,
                              .todayTokens = runtime.todayTokens()};
    const auto capturedAt = runtime.quotaCapturedAt
                                ? runtime.quotaCapturedAt
                                : RuntimeUsageSnapshot::defaultQuotaCapturedAt(runtime.snapshot);
    if (selection.window) {
        result.quotaRemainingPercent = QuotaWindowPresentation::validRemainingPercent(
            selection.window->remainingPercent(),
            {.resetsAt = selection.window->resetsAt,
             .capturedAt = capturedAt,
             .windowDurationMins = selection.window->windowDurationMins,
             .now = time});
    }
    if (result.quotaRemainingPercent) {
        result.quotaResetsAt = selection.window->resetsAt;
    } else if (result.status == RuntimeMenuStatus::available ||
               result.status == RuntimeMenuStatus::stale) {
        result.status =
            runtime.snapshot.local ? RuntimeMenuStatus::localOnly : RuntimeMenuStatus::unavailable;
    }
    return result;
}

}  // namespace vantry
