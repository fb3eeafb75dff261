#include "diagnostics/ReaderPerformanceTrace.h"
#include "official/HybridDailyUsage.h"
#include "refresh/LocalUsageRefreshFallbackPolicy.h"
#include "refresh/StatisticsDay.h"
#include "refresh/UsageStore.h"
#include "runtime/CodexRuntimeProvider.h"

namespace vantry {

struct UsageStore::LocalReadRequest {
    RuntimeLoadContext context;
    std::optional<RuntimeUsageSnapshot> previous;
    UsageStoreSources::Fingerprint lastFingerprint;
};

struct UsageStore::LocalRead {
    bool isUnchanged = false;  ///< and nothing was read
    UsageStoreSources::Fingerprint fingerprint;
    LocalUsageReadResult result;  ///< with the official days of the previous runtime
    Notices messages;
    Notices hybridMessages;
};

void UsageStore::refreshLocalUsage(LaneRequest request) {
    if (!mayStart(PendingRefreshWork::localUsage, request)) return;
    const ReadTicket ticket = beginRead(PendingRefreshWork::localUsage);
    LocalReadRequest read{.context = ticket.context, .lastFingerprint = fingerprints_.fastLocal};
    if (codex() != nullptr) read.previous = *codex();
    readInBackground(
        [read = std::move(read)](const UsageStoreSources& sources) {
            return readLocalRecords(sources, read);
        },
        LocalRead{.messages = {{NoticeKind::localReadUnfinished}}}, &UsageStore::finishLocalRead,
        ticket);
}

UsageStore::LocalRead UsageStore::readLocalRecords(const UsageStoreSources& sources,
                                                   const LocalReadRequest& request) {
    ReaderPerformanceTrace trace;
    const RuntimeLoadContext& context = request.context;
    LocalRead read{.fingerprint = sources.localUsageFingerprint(
                       context, sources.indexedSessionFiles(context))};
    trace.checkpoint("refresh-fingerprint");
    std::optional<std::vector<DailyTokenBucket>> officialDays;
    if (request.previous) {
        const UsageSnapshot& shown = request.previous->snapshot;
        officialDays = shown.cloudDailyBuckets;
        read.isUnchanged = isLocalUsageUnchanged({.current = read.fingerprint,
                                                  .previous = request.lastFingerprint,
                                                  .shown = shown,
                                                  .now = context.now});
        if (read.isUnchanged) return read;
    }
    auto local = sources.readLocalUsage(context);
    read.result = std::move(local.result);
    read.messages = std::move(local.messages);
    if (read.result.local) {
        auto hybrid = CodexUsageReader::mergeCloudDailyUsage({.cloudDailyBuckets = officialDays,
                                                              .into = *std::move(read.result.local),
                                                              .context = context});
        read.result.local = std::move(hybrid.local);
        read.hybridMessages = std::move(hybrid.messages);
    }
    return read;
}

void UsageStore::finishLocalRead(const ReadTicket& ticket, const LocalRead& read) {
    if (read.isUnchanged) return;
    const StatisticsIdentity identity = ticket.identity();
    if (!acceptsResult(ticket, identity) || codex() == nullptr) return;
    applyLocalUsage(identity, read);
    if (read.result.local && read.result.readStatus == LocalUsageReadStatus::complete &&
        read.fingerprint) {
        fingerprints_.fastLocal = read.fingerprint;
    }
}

void UsageStore::applyLocalUsage(const StatisticsIdentity& identity, const LocalRead& read) {
    using namespace LocalUsageRefreshFallbackPolicy;
    const Date now = loop_.now();
    const RuntimeUsageSnapshot& runtime = *codex();
    const UsageSnapshot& shown = runtime.snapshot;
    const bool sameDay =
        sameStatisticsDay(state_.multiRuntimeSnapshot.statisticsIdentity, identity);
    LocalUsageReplacement replacement{.result = read.result,
                                      .at = now,
                                      .localMessages = read.messages,
                                      .hybridMessages = read.hybridMessages};
    LocalUsageReadResult& result = replacement.result;
    const bool keepsShown = shown.local && hasLess(result.local, *shown.local) &&
                            mayReusePrevious({.readStatus = result.readStatus,
                                              .previousStatus = shown.localUsageReadStatus,
                                              .sameStatisticsDay = sameDay});
    if (keepsShown) {
        result.local = shown.local;
        result.capturedAt = shown.localUsageCapturedAt.value_or(shown.refreshedAt);
        result.isStale = true;
        result.readStatus = LocalUsageReadStatus::staleFallback;
    } else if (!result.local) {
        result.capturedAt.reset();
    } else if (!result.capturedAt) {
        result.capturedAt = now;
    }
    // The words about the official days stand until days are merged again.
    if (keepsShown || !result.local) replacement.hybridMessages = shown.hybridReadMessages;
    publishRuntime(replacingLocalUsage(runtime, replacement),
                   {.refreshedAt = now, .identity = identity});
    statisticsSnapshotCache_.store(state_.multiRuntimeSnapshot, now);
    publishDesktopWidgetSnapshot(now);
}

}  // namespace vantry
