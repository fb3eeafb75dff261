#include <algorithm>

#include "diagnostics/ReaderPerformanceTrace.h"
#include "refresh/RefreshSourceReusePolicies.h"
#include "refresh/UsageStore.h"

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
    UsageStoreSources::Fingerprint localBefore;  ///< both are there or neither
    UsageStoreSources::Fingerprint taskBoardBefore;
    UsageStoreSources::Fingerprint localAfter;
};

void UsageStore::refresh(const RefreshRequest& request) {
    if (!mayStart(PendingRefreshWork::full, {.queueIfBusy = request.queueIfBusy})) return;
    // The quota is read here too.
    quotaRetryTimer_.reset();
    pending_.hasPendingQuotaRefresh = false;
    quotaRetryState_.reset();
    ++refreshGeneration_;
    const ReadTicket ticket = beginRead(PendingRefreshWork::full);
    FullReadRequest read{
        .context = ticket.context,
        .load = {.generation = ticket.generation, .previousRuntimes = runtimeSnapshots()},
        .reuseUnchangedSources = request.reuseUnchangedSources,
        .lastLocal = lastCompleteLocalSourceFingerprint_,
        .lastTaskBoard = lastTaskBoardSourceFingerprint_};
    read.load.onQuotaReady = [wayBack = wayBack(), ticket](const RuntimeUsageSnapshot& runtime) {
        wayBack([ticket, runtime](UsageStore& store) { store.applyQuotaAhead(ticket, runtime); });
    };
    readInBackground(
        [read = std::move(read)](const UsageStoreSources& sources) {
            return readEverything(sources, read);
        },
        [ticket](UsageStore& store, const FullRead& result) {
            store.finishFullRead(ticket, result);
        });
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
        read.localBefore = sources.localUsageFingerprint(context, sessionFiles);
        read.taskBoardBefore = sources.taskBoardFingerprint(context);
        if (!read.localBefore || !read.taskBoardBefore) {
            read.localBefore.reset();
            read.taskBoardBefore.reset();
        }
        before.finish("refresh-fingerprint");
        const auto previous =
            std::ranges::find(load.previousRuntimes, scope, &RuntimeUsageSnapshot::scope);
        if (!request.reuseUnchangedSources || previous == load.previousRuntimes.end()) return {};
        const UsageSnapshot& shown = previous->snapshot;
        return {.localUsage = LocalUsageSourceReusePolicy::mayReuse(
                    {.currentFingerprint = read.localBefore,
                     .previousFingerprint = request.lastLocal,
                     .previousLocalUsageAvailable = shown.local.has_value(),
                     .previousReadStatus = shown.localUsageReadStatus,
                     .previousCapturedAt = shown.localUsageCapturedAt,
                     .now = context.now}),
                .taskBoard =
                    RefreshSourceFingerprintReusePolicy::matches(
                        {.current = read.taskBoardBefore, .previous = request.lastTaskBoard}) &&
                    TaskBoardSourceReusePolicy::mayReuse(shown.taskBoard, context.now)};
    };
    read.batch = sources.load(context, load);
    const ReaderPerformanceTrace after;
    if (read.localBefore) read.localAfter = sources.localUsageFingerprint(context, sessionFiles);
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
        maintainQuotaEarlyRecoveryConfirmationTimer(loop_.now());
        return;
    }
    apply(read.batch, {.observesLiveQuota = true, .publishesDesktopWidget = true});
    statisticsSnapshotCache_.store(read.batch, loop_.now());
    rememberFingerprints(read);
    if (codex() != nullptr && codex()->snapshot.accountIdentity) newAccountWasRead_ = false;
    scheduleQuotaRetryIfNeeded();
    if (state_.isSwitchingStatisticsTimeZone) finishStatisticsTimeZoneSwitch(false);
    pending_.hasPendingLocalUsageRefresh = false;
    pending_.hasPendingTaskBoardRefresh = false;
}

void UsageStore::rememberFingerprints(const FullRead& read) {
    const RuntimeUsageSnapshot* runtime = read.batch.runtime(RuntimeScope::codex);
    if (!read.localBefore || runtime == nullptr) return;
    const UsageSnapshot& snapshot = runtime->snapshot;
    if (snapshot.local && snapshot.localUsageReadStatus == LocalUsageReadStatus::complete) {
        lastCompleteLocalSourceFingerprint_ = read.localBefore;
        lastFastLocalSourceFingerprint_ = LocalUsageSourceReusePolicy::completedReadFingerprint(
            {.beforeRead = read.localBefore, .afterRead = read.localAfter});
    }
    if (snapshot.taskBoard) lastTaskBoardSourceFingerprint_ = read.taskBoardBefore;
}

}  // namespace vantry
