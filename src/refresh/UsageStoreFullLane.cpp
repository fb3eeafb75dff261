#include <algorithm>

#include "diagnostics/ReaderPerformanceTrace.h"
#include "refresh/UsageStore.h"
#include "runtime/CodexRuntimeProvider.h"

namespace vantry {

struct UsageStore::FullReadRequest {
    RuntimeLoadContext context;
    MultiRuntimeUsageReader::LoadRequest load;  ///< without what may be reused
    bool reuseUnchangedSources = false;
    UsageStoreSources::Fingerprint lastLocal;
    UsageStoreSources::Fingerprint lastTaskBoard;
};

struct UsageStore::FullRead {
    MultiRuntimeUsageSnapshot batch;
    SourceFingerprints::Seen seen;
};

namespace {

/// What stands in for a read that threw: every source has failed, and what is shown stays.
MultiRuntimeUsageSnapshot failedBatch(const RuntimeLoadContext& context,
                                      const StatisticsIdentity& identity) {
    UsageSnapshot failed{.refreshedAt = context.now,
                         .officialUsageReadStatus = OfficialUsageReadStatus::failed,
                         .localUsageReadStatus = LocalUsageReadStatus::unavailable,
                         .messages = {{NoticeKind::accountReadUnfinished},
                                      {NoticeKind::localReadUnfinished},
                                      {NoticeKind::taskBoardReadUnfinished}},
                         .localReadMessages = {{NoticeKind::localReadUnfinished}},
                         .readerState = {.appServer = AppServerReadState::failed}};
    MultiRuntimeUsageSnapshot batch{.refreshedAt = context.now, .statisticsIdentity = identity};
    batch.runtimes.push_back(CodexRuntimeProvider::runtimeSnapshot(std::move(failed)));
    return batch;
}

}  // namespace

void UsageStore::refresh(const RefreshRequest& request) {
    if (!mayStart(PendingRefreshWork::full, {.queueIfBusy = request.queueIfBusy})) return;
    // The quota is read here too.
    furtherReads_.fullReadBegins();
    queue_.waiting.hasPendingQuotaRefresh = false;
    ++refreshGeneration_;
    const ReadTicket ticket = beginRead(PendingRefreshWork::full);
    FullReadRequest read{
        .context = ticket.context,
        .load = {.generation = ticket.generation, .previousRuntimes = runtimeSnapshots()},
        .reuseUnchangedSources = request.reuseUnchangedSources,
        .lastLocal = fingerprints_.completeLocal,
        .lastTaskBoard = fingerprints_.taskBoard};
    read.load.onQuotaReady = [wayBack = wayBack(), ticket](const RuntimeUsageSnapshot& runtime) {
        wayBack([ticket, runtime](UsageStore& store) { store.applyQuotaAhead(ticket, runtime); });
    };
    readInBackground(
        [read = std::move(read)](const UsageStoreSources& sources) {
            return readEverything(sources, read);
        },
        FullRead{.batch = failedBatch(ticket.context, ticket.identity())},
        &UsageStore::finishFullRead, ticket);
}

UsageStore::FullRead UsageStore::readEverything(const UsageStoreSources& sources,
                                                const FullReadRequest& request) {
    const RuntimeLoadContext& context = request.context;
    UsageStoreSources::Paths sessionFiles;
    FullRead read;
    MultiRuntimeUsageReader::LoadRequest load = request.load;
    // Beside the account's session: a locked database holds no quota back.
    load.findUnchanged = [&](RuntimeScope scope) -> UnchangedSources {
        const ReaderPerformanceTrace before;
        sessionFiles = sources.indexedSessionFiles(context);
        SourceFingerprints::Seen& seen = read.seen;
        seen.localBefore = sources.localUsageFingerprint(context, sessionFiles);
        seen.taskBoardBefore = sources.taskBoardFingerprint(context);
        if (!seen.localBefore || !seen.taskBoardBefore) seen = {};
        before.finish("refresh-fingerprint");
        const auto previous =
            std::ranges::find(load.previousRuntimes, scope, &RuntimeUsageSnapshot::scope);
        if (!request.reuseUnchangedSources || previous == load.previousRuntimes.end()) return {};
        const UsageSnapshot& shown = previous->snapshot;
        return {.localUsage = isLocalUsageUnchanged({.current = seen.localBefore,
                                                     .previous = request.lastLocal,
                                                     .shown = shown,
                                                     .now = context.now}),
                .taskBoard = isTaskBoardUnchanged({.current = seen.taskBoardBefore,
                                                   .previous = request.lastTaskBoard,
                                                   .shown = shown,
                                                   .now = context.now})};
    };
    read.batch = sources.load(context, load);
    const ReaderPerformanceTrace after;
    if (read.seen.localBefore) {
        read.seen.localAfter = sources.localUsageFingerprint(context, sessionFiles);
    }
    after.finish("refresh-fingerprint");
    return read;
}

void UsageStore::applyQuotaAhead(const ReadTicket& ticket, const RuntimeUsageSnapshot& runtime) {
    // A session that failed has nothing to show ahead; the end of the read tells of it.
    if (runtime.snapshot.readerState.appServer != AppServerReadState::responded) return;
    const StatisticsContext& statistics = ticket.context.statistics;
    if (canApplyRefreshResult(ticket) &&
        statistics.dayKey(loop_.now()) == statistics.currentDayKey()) {
        applyQuota(runtime, {.queueAccountRefresh = false});
    }
}

void UsageStore::finishFullRead(const ReadTicket& ticket, const FullRead& read) {
    if (!acceptsResult(ticket, read.batch.statisticsIdentity)) {
        recoveryWatch_.keepAwaiting();
        return;
    }
    apply(read.batch, {.observesLiveQuota = true, .publishesDesktopWidget = true});
    statisticsSnapshotCache_.store(read.batch, loop_.now());
    if (const auto* runtime = read.batch.runtime(RuntimeScope::codex)) {
        fingerprints_.rememberFullRead(read.seen, runtime->snapshot);
    }
    if (codex() != nullptr && codex()->snapshot.accountIdentity) newAccountWasRead_ = false;
    furtherReads_.retryQuotaIfMissing();
    if (zoneSwitch_.isWaiting()) finishStatisticsTimeZoneSwitch(false);
    queue_.waiting.hasPendingLocalUsageRefresh = false;
    queue_.waiting.hasPendingTaskBoardRefresh = false;
}

}  // namespace vantry
