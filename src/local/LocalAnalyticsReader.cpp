#include "local/LocalAnalyticsReader.h"

#include <fmt/format.h>
#include <optional>

#include "diagnostics/DebugLog.h"
#include "diagnostics/ReaderPerformanceTrace.h"
#include "local/LocalAnalyticsMaking.h"
#include "local/LocalAnalyticsRefusal.h"
#include "local/SessionAggregation.h"
#include "local/SessionKeeping.h"
#include "local/SessionLineParser.h"
#include "local/SessionUsageCacheFile.h"
#include "local/SourceFingerprint.h"
#include "platform/AtomicFile.h"

namespace vantry::CodexUsageReader {

namespace {

using Sources = std::vector<SessionUsageSource>;

std::string databaseFingerprint(const StateDatabase& database) {
    std::string text;
    for (const ThreadTable& table : database.tables) {
        const std::string path = table.databasePath.string();
        // The shared index of the write-ahead log is written by readers too: its time says nothing.
        text += fileFingerprint({path, path + "-wal"}) + fileSizeFingerprint(path + "-shm");
    }
    return text;
}

void loadCaches(const LocalAnalyticsRequest& request, ReaderCaches& caches) {
    if (!caches.analytics.isPersistentLoaded) {
        caches.analytics.isPersistentLoaded = true;
        caches.analytics.persistent =
            readPersistentLocalAnalyticsCache(localAnalyticsCacheURL(request.cacheDirectory));
    }
    SessionUsageCache& sessions = caches.sessions;
    loadKeptSessions(keptSessionsURL(request.cacheDirectory), sessions);
    persistentSessionUsageCache(sessions, sessionUsageCacheURL(request.cacheDirectory));
}

void persistSessionCache(const LocalAnalyticsRequest& request, SessionUsageCache& cache) {
    if (!request.persistCaches || request.cacheDirectory.empty()) return;
    if (!cache.hasKeptChanges && !cache.hasChanges) return;
    std::error_code error;
    std::filesystem::create_directories(request.cacheDirectory, error);
    // Two readers that write at once would each lose what the other has kept.
    const FileDescriptor lock = lockBeside(keptSessionsURL(request.cacheDirectory));
    if (!lock.isOpen()) return;
    // First what is nowhere else: then the logs that went there may leave the cache.
    if (!saveKeptSessions(keptSessionsURL(request.cacheDirectory), cache)) return;
    if (!cache.hasChanges) return;
    const std::string home = sessionHomeName(request.codexHome);
    std::set<std::string> activePaths;
    for (const auto& [path, entry] : cache.entries) {
        if (entry.home == home) activePaths.insert(path);
    }
    writePersistentSessionUsageCache(cache, {.file = sessionUsageCacheURL(request.cacheDirectory),
                                             .activePaths = std::move(activePaths),
                                             .now = request.windows.now});
}

void persistAnalytics(const LocalAnalyticsRequest& request, LocalAnalyticsCache& cache) {
    if (!request.persistCaches || !cache.isPending || !cache.memory) return;
    const auto file = localAnalyticsCacheURL(request.cacheDirectory);
    if (writePersistentLocalAnalyticsCache({.entry = *cache.memory, .cacheURL = file})) {
        cache.isPending = false;
    }
}

void persistPendingLocalUsageCaches(const LocalAnalyticsRequest& request, ReaderCaches& caches) {
    persistSessionCache(request, caches.sessions);
    persistAnalytics(request, caches.analytics);
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

/// The entry that was made from exactly these sources, now in memory; null without one.
const LocalAnalyticsCacheEntry* reusableEntry(const LocalAnalyticsSources& made,
                                              LocalAnalyticsCache& cache,
                                              ReaderPerformanceTrace& trace) {
    if (cache.memory && isMadeFrom(*cache.memory, made)) {
        trace.checkpoint("memory-cache-reuse");
        return &*cache.memory;
    }
    if (!cache.persistent || !isMadeFrom(*cache.persistent, made)) return nullptr;
    cache.memory = std::move(cache.persistent);
    cache.persistent.reset();
    cache.isPending = false;
    trace.checkpoint("disk-cache-reuse");
    return &*cache.memory;
}

void publish(const LocalAnalyticsSources& made, const LocalAnalyticsReadResult& result,
             LocalAnalyticsCache& cache) {
    cache.memory = LocalAnalyticsCacheEntry{.version = localAnalyticsCacheVersion,
                                            .dayKey = made.day.dayKey,
                                            .timeZoneIdentifier = made.day.timeZoneIdentifier,
                                            .databaseFingerprint = made.databaseFingerprint,
                                            .sourceFingerprint = made.sourceFingerprint,
                                            .capturedAt = result.capturedAt,
                                            .analytics = result.analytics};
    cache.persistent.reset();
    cache.isPending = true;
}

}  // namespace

LocalAnalyticsReadResult readLocalAnalytics(const LocalAnalyticsRequest& request,
                                            ReaderCaches& caches,
                                            std::vector<std::string>& messages) {
    ReaderPerformanceTrace trace;
    const Date now = request.windows.now;
    const auto index = readThreadIndex(request.database);
    if (const auto* failure = std::get_if<SQLiteReadFailure>(&index)) {
        return {.capturedAt = now, .sqliteFailure = *failure};
    }
    const Sources& rows = std::get<Sources>(index);
    LocalAnalyticsSources made{
        .day = {.dayKey = request.statistics.dayKey(request.windows.todayStart),
                .timeZoneIdentifier = request.statistics.resolvedIdentifier()},
        .databaseFingerprint = databaseFingerprint(request.database)};
    trace.checkpoint("index");

    loadCaches(request, caches);
    trace.checkpoint("cache-read");

    const SessionReadSetting setting{.codexHome = request.codexHome, .now = now};
    LoadedSessions loaded = loadSessions({.rows = rows, .setting = setting}, caches.sessions);
    trace.checkpoint("session-validation");
    if (loaded.waitingLogs > 0) {
        // What was read well need not be read again.
        persistSessionCache(request, caches.sessions);
        auto result = fallbackResult(caches.analytics, made.day, now);
        messages.push_back(unreadableLogsMessage(loaded.waitingLogs, result.isStale));
        return result;
    }
    loaded.gaps.settle();
    if (rows.empty() && loaded.sessions.empty() && loaded.gaps.list.empty()) {
        messages.emplace_back("未找到 Codex session 日志");
        return {.capturedAt = now};
    }

    made.sourceFingerprint = sessionSourcesFingerprint(loaded);
    if (const auto* entry = reusableEntry(made, caches.analytics, trace)) {
        persistPendingLocalUsageCaches(request, caches);
        return {.analytics = entry->analytics,
                .capturedAt = entry->capturedAt,
                .readStatus = LocalUsageReadStatus::complete};
    }

    const Date cutoff = SessionUsageEventCutoffPolicy::cutoff(
        {.refreshStartedAt = now,
         .scanCompletedAt = Date::now(),
         .acceptsEventsWrittenDuringLoad = request.acceptsEventsWrittenDuringLoad},
        request.statistics);
    SessionAggregation aggregation(request.statistics, request.windows, cutoff);
    LocalUsageGaps gaps = loaded.gaps;
    visitEffectiveUsage(loaded, cutoff, gaps,
                        [&](const VisitedSession& session) { aggregation.add(session); });
    gaps.settle();
    nameGaps(gaps, caches.sessions);
    trace.checkpoint("aggregate");
    const std::int64_t rejected = aggregation.rejectedFutureEventCount();
    if (rejected > 0) {
        messages.push_back(fmt::format("已忽略 {} 条时间晚于本次刷新的 token 事件", rejected));
    }

    persistSessionCache(request, caches.sessions);
    trace.checkpoint("session-cache-write");

    auto skills = makeSkillUsages(aggregation.skills(),
                                  {.home = request.homeDirectory, .codexHome = request.codexHome},
                                  caches.skills);
    trace.checkpoint("skill-metadata");
    LocalAnalyticsReadResult result{.capturedAt = now,
                                    .readStatus = LocalUsageReadStatus::complete};
    if (!aggregation.hasTokenEvents()) {
        messages.emplace_back("未找到 Codex token_count 事件");
        result.analytics.gaps = std::move(gaps);
        return result;
    }
    result.analytics = makeLocalAnalytics(aggregation, request.statistics, request.windows);
    result.analytics.gaps = std::move(gaps);
    result.analytics.skillUsages = std::move(skills);
    if (LocalAnalyticsCachePolicy::mayStore(rejected - aggregation.setAsideEventCount())) {
        publish(made, result, caches.analytics);
        persistAnalytics(request, caches.analytics);
    }
    trace.checkpoint("analytics-publish");
    trace.finish("local-analytics");
    return result;
}

}  // namespace vantry::CodexUsageReader
