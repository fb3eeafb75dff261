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
    const UsageSnapshot failed{.refreshedAt = ticket.context.now,
                               .messages = {{NoticeKind::accountReadUnfinished}},
                               .readerState = {.appServer = AppServerReadState::failed}};
    readInBackground([context = ticket.context](
                         const UsageStoreSources& sources) { return sources.loadQuota(context); },
                     failed, &UsageStore::finishQuotaRead, ticket);
}

void UsageStore::finishQuotaRead(const ReadTicket& ticket, const UsageSnapshot& quota) {
    if (!canApplyRefreshResult(ticket)) {
        // The read that was to confirm a recovery may have been this one.
        recoveryWatch_.keepAwaiting();
        return;
    }
    applyQuota(quotaRuntime(quota, ticket.context.now), {.queueAccountRefresh = true});
    furtherReads_.retryQuotaIfMissing();
}

}  // namespace vantry
