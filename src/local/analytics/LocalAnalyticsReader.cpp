#include "local/analytics/LocalAnalyticsReader.h"

#include <fmt/format.h>
#include <optional>
#include <utility>

#include "diagnostics/DebugLog.h"
#include "diagnostics/ReaderPerformanceTrace.h"
#include "local/analytics/LocalAnalyticsMaking.h"
#include "local/analytics/SessionSums.h"
#include "local/log/SessionLineParser.h"
#include "platform/Checksum.h"
#include "platform/RecordBytes.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr const char* keptName = "analytics";

void loadKept(ReaderCaches& caches) {
    if (caches.analytics.home != caches.sessions.home()) {
        caches.analytics = {.home = caches.sessions.home()};
    }
    if (std::exchange(caches.analytics.isPersistentLoaded, true)) return;
    const auto bytes = caches.sessions.homeValue(keptName);
    if (bytes) caches.analytics.persistent = readPersistentLocalAnalyticsCache(*bytes);
}

// Each path is named once, however often it is read.
void nameGaps(const LocalUsageGaps& gaps, SessionUsageCache& cache) {
    for (const LocalUsageGap& gap : gaps.list) {
        for (const std::string& path : gap.paths) {
            std::string line = std::string(rawText(gap.kind)) + ": " + path;
            if (cache.namedGaps.insert(line).second) debugLog("session logs: " + line);
        }
    }
}

/// The entry that was made from exactly these sources, now in memory; null without one, and for
/// one from a clock that was ahead.
const LocalAnalyticsCacheEntry* reusableEntry(const LocalAnalyticsSources& made, Date now,
                                              LocalAnalyticsCache& cache,
                                              ReaderPerformanceTrace& trace) {
    const auto holds = [&](const std::optional<LocalAnalyticsCacheEntry>& entry) {
        return entry && isMadeFrom(*entry, made) && entry->capturedAt <= now;
    };
    if (holds(cache.memory)) {
        trace.checkpoint("memory-cache-reuse");
        return &*cache.memory;
    }
    if (!holds(cache.persistent)) return nullptr;
    cache.memory = std::move(cache.persistent);
    cache.persistent.reset();
    trace.checkpoint("disk-cache-reuse");
    return &*cache.memory;
}

// Figures with a log left out would be wrong without looking wrong: a batch that has to wait for
// one gives way to the last complete figures of the same day, marked stale and with their own
// capture time, or to nothing, as of `now` then.
LocalAnalyticsReadResult fallbackResult(const LocalAnalyticsCache& cache,
                                        const LocalAnalyticsDay& day, Date now) {
    const LocalAnalyticsCacheEntry* last = lastCompleteLocalAnalyticsCache(cache, day);
    if (last == nullptr) return {.capturedAt = now};
    return {.analytics = last->analytics,
            .capturedAt = last->capturedAt,
            .isStale = true,
            .readStatus = LocalUsageReadStatus::staleFallback};
}

void publish(const LocalAnalyticsSources& made, const LocalAnalyticsReadResult& result,
             ReaderCaches& caches) {
    LocalAnalyticsCache& cache = caches.analytics;
    cache.memory = LocalAnalyticsCacheEntry{.version = localAnalyticsCacheVersion,
                                            .dayKey = made.day.dayKey,
                                            .timeZoneIdentifier = made.day.timeZoneIdentifier,
                                            .databaseFingerprint = made.databaseFingerprint,
                                            .sourceFingerprint = made.sourceFingerprint,
                                            .capturedAt = result.capturedAt,
                                            .analytics = result.analytics};
    cache.persistent.reset();
    auto bytes = persistentLocalAnalyticsCache(*cache.memory);
    if (bytes) caches.sessions.setHomeValue(keptName, *std::move(bytes));
}

}  // namespace

LocalAnalyticsReadResult keptLocalAnalytics(const LocalAnalyticsDay& day, Date now,
                                            SessionUsageCache::Saved& saved) {
    LocalAnalyticsCache cache;
    if (const auto bytes = saved.homeValue(keptName)) {
        cache.persistent = readPersistentLocalAnalyticsCache(*bytes);
    }
    return fallbackResult(cache, day, now);
}

LocalAnalyticsReadResult readLocalAnalytics(const LocalAnalyticsRequest& request,
                                            ReaderCaches& caches, Notices& messages) {
    ReaderPerformanceTrace trace;
    const Date now = request.windows.now;
    LocalAnalyticsSources made{
        .day = {.dayKey = request.statistics.dayKey(request.windows.todayStart),
                .timeZoneIdentifier = request.statistics.resolvedIdentifier()},
        .databaseFingerprint =
            std::to_string(checksum(0, {recordBytes(request.index.partHashes)}))};
    loadKept(caches);
    trace.checkpoint("cache-read");

    const SessionReadSetting setting{.codexHome = request.codexHome, .now = now};
    SessionBatch batch({.rows = request.index.rows, .setting = setting}, caches.sessions);
    batch.read();
    trace.checkpoint("session-validation");
    if (batch.waitingLogs() > 0) {
        auto result = fallbackResult(caches.analytics, made.day, now);
        messages.push_back({.kind = result.isStale ? NoticeKind::sessionLogsWaitStale
                                                   : NoticeKind::sessionLogsWait,
                            .count = static_cast<std::int64_t>(batch.waitingLogs())});
        return result;
    }
    made.sourceFingerprint = batch.fingerprint();
    const auto* const entry =
        batch.isOutOfTime(now) ? nullptr : reusableEntry(made, now, caches.analytics, trace);
    if (entry != nullptr) {
        return {.analytics = entry->analytics,
                .capturedAt = entry->capturedAt,
                .readStatus = LocalUsageReadStatus::complete};
    }
    LoadedSessions loaded = batch.load();
    loaded.gaps.settle();
    if (request.index.rows.empty() && loaded.sessions.empty() && loaded.gaps.list.empty()) {
        messages.push_back({NoticeKind::sessionLogsMissing});
        return {.capturedAt = now};
    }

    const Date cutoff = SessionUsageEventCutoffPolicy::cutoff(
        {.refreshStartedAt = now,
         .scanCompletedAt = Date::now(),
         .acceptsEventsWrittenDuringLoad = request.acceptsEventsWrittenDuringLoad},
        request.statistics);
    bool isWhole = bringSharesUpToDate(loaded, caches.sessions, cutoff);
    trace.checkpoint("shares");
    const SessionSums sums = addUpShares({.loaded = loaded,
                                          .cache = caches.sessions,
                                          .day = made.day,
                                          .statistics = request.statistics,
                                          .windows = request.windows,
                                          .cutoff = cutoff});
    isWhole = isWhole && sums.isWhole;
    if (!isWhole && request.readsAgain > 0) {
        LocalAnalyticsRequest again = request;
        --again.readsAgain;
        return readLocalAnalytics(again, caches, messages);
    }
    const SessionAggregation& aggregation = *sums.aggregation;
    LocalUsageGaps gaps = std::move(loaded.gaps);
    gaps.add(sums.gaps);
    if (const std::string lost = caches.sessions.lostFile(); !lost.empty()) {
        gaps.add(LocalUsageGapKind::damagedRecord, lost);
    }
    gaps.settle();
    nameGaps(gaps, caches.sessions);
    trace.checkpoint("aggregate");
    const std::int64_t rejected = aggregation.rejectedFutureEventCount();
    if (rejected > 0) {
        messages.push_back({.kind = NoticeKind::eventsAheadIgnored, .count = rejected});
    }

    auto skills = makeSkillUsages(aggregation.skills(),
                                  {.home = request.homeDirectory, .codexHome = request.codexHome},
                                  caches.skills);
    trace.checkpoint("skill-metadata");
    LocalAnalyticsReadResult result{.capturedAt = now,
                                    .readStatus = LocalUsageReadStatus::complete};
    if (!aggregation.hasTokenEvents()) {
        messages.push_back({NoticeKind::tokenEventsMissing});
        result.analytics.gaps = std::move(gaps);
        return result;
    }
    result.analytics = makeLocalAnalytics(aggregation, request.statistics, request.windows);
    result.analytics.gaps = std::move(gaps);
    result.analytics.skillUsages = std::move(skills);
    if (isWhole &&
        LocalAnalyticsCachePolicy::mayStore(rejected - aggregation.setAsideEventCount())) {
        made.sourceFingerprint = batch.fingerprint();
        publish(made, result, caches);
    }
    trace.checkpoint("analytics-publish");
    trace.finish("local-analytics");
    return result;
}

}  // namespace vantry::CodexUsageReader
