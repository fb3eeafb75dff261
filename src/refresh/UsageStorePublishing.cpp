#include <algorithm>
#include <span>
#include <utility>

#include "official/HybridDailyUsage.h"
#include "refresh/QuotaRefreshFallbackPolicy.h"
#include "refresh/StatisticsDay.h"
#include "refresh/UsageStore.h"
#include "runtime/AgentUsageAggregator.h"
#include "runtime/CodexRuntimeProvider.h"

// How what was read becomes what is shown.
namespace vantry {

namespace {

std::optional<std::string> accountIdentityOf(const RuntimeUsageSnapshot* runtime) {
    return runtime == nullptr ? std::nullopt : runtime->snapshot.accountIdentity;
}

std::optional<std::string> planOf(const RuntimeUsageSnapshot& runtime) {
    const auto& account = runtime.snapshot.account;
    return account ? account->planType : std::nullopt;
}

// What a runtime may keep of earlier reads it holds already, so the aggregate keeps nothing by
// itself: it could only bring back what a runtime had to give up.
UsageSnapshot aggregateOf(const std::vector<RuntimeUsageSnapshot>& runtimes, Date at) {
    return AgentUsageAggregator::aggregate(runtimes, {.at = at});
}

}  // namespace

void UsageStore::apply(const MultiRuntimeUsageSnapshot& batch, const Applying& applying) {
    const RuntimeUsageSnapshot* raw = batch.runtime(RuntimeScope::codex);
    invalidateAccountBoundState(accountIdentityOf(raw));
    const RuntimeLoadContext context =
        sources_->liveContext(loop_.now(), state_.statisticsPreference);
    const bool sameDay =
        sameStatisticsDay(state_.multiRuntimeSnapshot.statisticsIdentity, batch.statisticsIdentity);
    MultiRuntimeUsageSnapshot shown{.refreshedAt = batch.refreshedAt,
                                    .statisticsIdentity = batch.statisticsIdentity};
    for (const RuntimeUsageSnapshot& incoming : batch.runtimes) {
        shown.runtimes.push_back(mergedWithShown(incoming, context, sameDay));
    }
    shown.aggregate = aggregateOf(shown.runtimes, shown.refreshedAt);
    publish(std::move(shown));
    if (applying.observesLiveQuota && raw != nullptr) {
        recoveryWatch_.observe({.merged = *codex(),
                                .raw = *raw,
                                .resolvedPlanType = planOf(*codex()),
                                .now = context.now});
    }
    if (applying.publishesDesktopWidget) publishDesktopWidgetSnapshot(context.now);
}

RuntimeUsageSnapshot UsageStore::mergedWithShown(const RuntimeUsageSnapshot& incoming,
                                                 const RuntimeLoadContext& context,
                                                 bool mayReusePreviousLocal) const {
    RuntimeUsageSnapshot merged =
        QuotaRefreshFallbackPolicy::merge({.incoming = incoming,
                                           .previous = runtimeSnapshot(incoming.scope),
                                           .mayReusePreviousLocal = mayReusePreviousLocal,
                                           .now = context.now});
    const UsageSnapshot& snapshot = merged.snapshot;
    if (merged.scope != RuntimeScope::codex || !snapshot.local) return merged;
    // The read and the official days that stand may come from different reads.
    auto hybrid =
        CodexUsageReader::mergeCloudDailyUsage({.cloudDailyBuckets = snapshot.cloudDailyBuckets,
                                                .into = *snapshot.local,
                                                .context = context});
    std::optional<Date> capturedAt = snapshot.localUsageCapturedAt;
    if (!capturedAt) capturedAt = incoming.snapshot.localUsageCapturedAt;
    return replacingLocalUsage(
        merged, {.result = {.local = std::move(hybrid.local),
                            .capturedAt = capturedAt.value_or(snapshot.refreshedAt),
                            .isStale = snapshot.localUsageIsStale,
                            .readStatus = snapshot.localUsageReadStatus,
                            .dependencyFailure = snapshot.readerState.localDependencyFailure},
                 .at = snapshot.refreshedAt,
                 .localMessages = snapshot.localReadMessages,
                 .hybridMessages = std::move(hybrid.messages)});
}

void UsageStore::applyQuota(const RuntimeUsageSnapshot& incoming, QuotaApplying applying) {
    const Date now = loop_.now();
    const RuntimeUsageSnapshot* previous = runtimeSnapshot(incoming.scope);
    const auto& identity = incoming.snapshot.accountIdentity;
    invalidateAccountBoundState(identity);
    if (applying.queueAccountRefresh && needsAccountRefresh(identity, previous)) {
        queue_.waiting.hasPendingRefresh = true;
    }
    const bool hadLocal = previous != nullptr && previous->snapshot.local;
    const bool mayReusePreviousLocal = AgentUsageAggregator::mayReuseLocalAggregate(
        std::span(&incoming, 1), &state_.multiRuntimeSnapshot.aggregate);
    publishRuntime(
        QuotaRefreshFallbackPolicy::merge({.incoming = incoming,
                                           .previous = previous,
                                           .mayReusePreviousLocal = mayReusePreviousLocal,
                                           .now = now}),
        {.refreshedAt = now, .identity = state_.multiRuntimeSnapshot.statisticsIdentity});
    const RuntimeUsageSnapshot& merged = *runtimeSnapshot(incoming.scope);
    // Local figures that were mixed with the account's went with it; those of the logs alone are
    // still to be had.
    const bool lostLocal = hadLocal && !merged.snapshot.local;
    if (applying.queueAccountRefresh && lostLocal)
        queue_.waiting.hasPendingLocalUsageRefresh = true;
    recoveryWatch_.observe(
        {.merged = merged, .raw = incoming, .resolvedPlanType = planOf(merged), .now = now});
    publishDesktopWidgetSnapshot(now);
}

// An account that was not known before is read in full once: where the full read cannot tell who it
// is either, it would be started again and again.
bool UsageStore::needsAccountRefresh(const std::optional<std::string>& identity,
                                     const RuntimeUsageSnapshot* previous) {
    if (!identity || previous == nullptr || previous->snapshot.accountIdentity == identity) {
        return false;
    }
    return previous->snapshot.accountIdentity || !std::exchange(newAccountWasRead_, true);
}

void UsageStore::applyTaskBoard(const TaskBoard& board, RuntimeScope scope) {
    const RuntimeUsageSnapshot* shown = runtimeSnapshot(scope);
    if (shown == nullptr) {
        state_.snapshot = state_.snapshot.replacingTaskBoard(board);
        changed({.board = true});
        return;
    }
    RuntimeUsageSnapshot runtime = shown->replacingTaskBoard(board);
    // A board is read without tokens.
    if (runtime.snapshot.local) runtime.snapshot.bindTaskBoardTokens();
    publishRuntime(std::move(runtime),
                   {.refreshedAt = state_.multiRuntimeSnapshot.refreshedAt,
                    .identity = state_.multiRuntimeSnapshot.statisticsIdentity});
}

void UsageStore::publishRuntime(RuntimeUsageSnapshot runtime, const BatchMark& mark) {
    MultiRuntimeUsageSnapshot batch{.refreshedAt = mark.refreshedAt,
                                    .runtimes = runtimeSnapshots(),
                                    .statisticsIdentity = mark.identity};
    const auto place =
        std::ranges::find(batch.runtimes, runtime.scope, &RuntimeUsageSnapshot::scope);
    if (place != batch.runtimes.end()) {
        *place = std::move(runtime);
    } else {
        batch.runtimes.push_back(std::move(runtime));
    }
    batch.aggregate = aggregateOf(batch.runtimes, mark.refreshedAt);
    publish(std::move(batch));
}

void UsageStore::publish(MultiRuntimeUsageSnapshot batch) {
    const UsageStoreChanges changes = changesBetween(state_.multiRuntimeSnapshot, batch);
    state_.multiRuntimeSnapshot = std::move(batch);
    state_.snapshot = state_.multiRuntimeSnapshot.displaySnapshot(state_.selectedRuntimeScope);
    furtherReads_.awaitQuotaReset();
    changed(changes);
}

void UsageStore::selectRuntime(RuntimeScope scope) {
    state_.selectedRuntimeScope = scope;
    state_.snapshot = state_.multiRuntimeSnapshot.displaySnapshot(scope);
    changed({.quota = true, .local = true, .board = true, .activity = true});
}

void UsageStore::publishDesktopWidgetSnapshot(Date now) {
    publishDesktopRecord_(state_.multiRuntimeSnapshot, statisticsContext(now), now);
}

void UsageStore::invalidateAccountBoundState(const std::optional<std::string>& accountIdentity) {
    if (!accountIdentity || accountIdentity->empty()) return;
    if (accountIdentityOf(codex()) == accountIdentity) return;
    statisticsSnapshotCache_.clear();
    fingerprints_.forgetLocal();
    // It knows itself whose state it was restored with, and what was announced to whom.
    recoveryWatch_.turnTo(*accountIdentity);
}

void UsageStore::changed(const UsageStoreChanges& changes) {
    const bool isAnnounced = untold_.any();
    untold_.add(changes);
    if (isAnnounced || !untold_.any()) return;
    wayBack()([](UsageStore& store) { store.changes_.tell(std::exchange(store.untold_, {})); });
}

}  // namespace vantry
