#include "refresh/UsageStore.h"

namespace vantry {

namespace {

RuntimeUsageSnapshot quotaRuntime(UsageSnapshot quota, Date now) {
    const bool hasWindow = quota.primary || quota.secondary;
    return {.scope = RuntimeScope::codex,
            .snapshot = std::move(quota),
            .status = hasWindow ? RuntimeMenuStatus::available : RuntimeMenuStatus::unavailable,
            .quotaSourceLabel = "Codex app-server",
            .usageSourceLabel = "Codex local state",
            .quotaCapturedAt = now};
}

}  // namespace

void UsageStore::refreshQuota(LaneRequest request) {
    if (!mayStart(PendingRefreshWork::quota, request)) return;
    const ReadTicket ticket = beginRead(PendingRefreshWork::quota);
    readInBackground([context = ticket.context](
                         const UsageStoreSources& sources) { return sources.loadQuota(context); },
                     [ticket](UsageStore& store, const UsageSnapshot& quota) {
                         store.finishQuotaRead(ticket, quota);
                     });
}

void UsageStore::finishQuotaRead(const ReadTicket& ticket, UsageSnapshot quota) {
    if (!canApplyRefreshResult(ticket)) {
        // The read that was to confirm a recovery may have been this one.
        maintainQuotaEarlyRecoveryConfirmationTimer(loop_.now());
        return;
    }
    applyQuota(quotaRuntime(std::move(quota), ticket.context.now), {.queueAccountRefresh = true});
    scheduleQuotaRetryIfNeeded();
}

}  // namespace vantry
