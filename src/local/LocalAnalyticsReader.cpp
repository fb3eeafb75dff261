#include "local/LocalAnalyticsReader.h"

#include <fmt/format.h>
#include <optional>

#include "diagnostics/ReaderPerformanceTrace.h"
#include "local/LocalAnalyticsMaking.h"
#include "local/LocalAnalyticsRefusal.h"
#include "local/SessionAggregation.h"
#include "local/SessionLineParser.h"
#include "local/SessionUsageCacheFile.h"
#include "local/SessionValidation.h"
#include "local/SourceFingerprint.h"

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
    persistentSessionUsageCache(caches.sessions, sessionUsageCacheURL(request.cacheDirectory));
}

void persistSessionCache(const LocalAnalyticsRequest& request, const Sources& sources,
                         SessionUsageCache& cache) {
    if (!request.persistCaches || !cache.hasChanges) return;
    std::set<std::string> activePaths;
    for (const SessionUsageSource& source : sources) activePaths.insert(source.rolloutPath);
    writePersistentSessionUsageCache(cache, {.file = sessionUsageCacheURL(request.cacheDirectory),
                                             .activePaths = std::move(activePaths),
                                             .isAllowed =
                                                 [&](const std::string& path) {
                                                     return sessionRolloutAccessIsAllowed(
                                                         path, request.homeDirectory);
                                                 },
                                             .now = request.windows.now});
}

void persistAnalytics(const LocalAnalyticsRequest& request, LocalAnalyticsCache& cache) {
    if (!request.persistCaches || !cache.isPending || !cache.memory) return;
    const auto file = localAnalyticsCacheURL(request.cacheDirectory);
    if (writePersistentLocalAnalyticsCache({.entry = *cache.memory, .cacheURL = file})) {
        cache.isPending = false;
    }
}

void persistPendingLocalUsageCaches(const LocalAnalyticsRequest& request, const Sources& sources,
                                    ReaderCaches& caches) {
    persistSessionCache(request, sources, caches.sessions);
    persistAnalytics(request, caches.analytics);
}

std::optional<LocalAnalyticsRefusal> refusalOf(const ValidatedSessions& validated) {
    using Reason = LocalAnalyticsRefusal::Reason;
    if (!validated.parentChainsAreSound) return LocalAnalyticsRefusal{Reason::parentChain};
    const std::size_t unreadable = validated.loaded.unreadablePaths.size();
    if (unreadable > 0) return LocalAnalyticsRefusal{Reason::unreadableLogs, unreadable};
    return std::nullopt;
}

std::optional<LocalAnalyticsRefusal> refusalOf(const SessionBatchFailures& failures) {
    using Reason = LocalAnalyticsRefusal::Reason;
    if (failures.unresolvedParents > 0) {
        return LocalAnalyticsRefusal{Reason::unresolvedParents, failures.unresolvedParents};
    }
    if (!failures.isNone()) return LocalAnalyticsRefusal{Reason::damagedCache};
    return std::nullopt;
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
    const Sources& sources = std::get<Sources>(index);
    if (sources.empty()) {
        messages.emplace_back("未找到 Codex session 日志");
        return {.capturedAt = now};
    }
    LocalAnalyticsSources made{
        .day = {.dayKey = request.statistics.dayKey(request.windows.todayStart),
                .timeZoneIdentifier = request.statistics.resolvedIdentifier()},
        .databaseFingerprint = databaseFingerprint(request.database)};
    trace.checkpoint("index");

    loadCaches(request, caches);
    trace.checkpoint("cache-read");

    const auto refuse = [&](const LocalAnalyticsRefusal& refusal) {
        // What was read well need not be read again.
        persistSessionCache(request, sources, caches.sessions);
        auto result = fallbackResult(caches.analytics, made.day, now);
        messages.push_back(refusal.message(result.isStale));
        return result;
    };
    const SessionReadSetting setting{.homeDirectory = request.homeDirectory, .now = now};
    const ValidatedSessions validated =
        validateSessions({.sources = sources,
                          .setting = setting,
                          .requiredPaths = request.requiredSessionValidationPaths},
                         caches.sessions);
    trace.checkpoint("session-validation");
    if (const auto refusal = refusalOf(validated)) return refuse(*refusal);

    rememberSources(sources, now, caches.sessions);
    made.sourceFingerprint = sessionSourcesFingerprint(validated.loaded.sessions);
    if (const auto* entry = reusableEntry(made, caches.analytics, trace)) {
        persistPendingLocalUsageCaches(request, sources, caches);
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
    const SessionBatchFailures failures = visitEffectiveUsage(
        validated.loaded, cutoff, [&](const VisitedSession& session) { aggregation.add(session); });
    if (const auto refusal = refusalOf(failures)) return refuse(*refusal);
    trace.checkpoint("aggregate");
    const std::int64_t rejected = aggregation.rejectedFutureEventCount();
    if (rejected > 0) {
        messages.push_back(fmt::format("已忽略 {} 条时间晚于本次刷新的 token 事件", rejected));
    }

    persistSessionCache(request, sources, caches.sessions);
    trace.checkpoint("session-cache-write");

    auto skills = makeSkillUsages(aggregation.skills(),
                                  {.home = request.homeDirectory, .codexHome = request.codexHome},
                                  caches.skills);
    trace.checkpoint("skill-metadata");
    LocalAnalyticsReadResult result{.capturedAt = now,
                                    .readStatus = LocalUsageReadStatus::complete};
    if (aggregation.tokenEventCount() == 0) {
        messages.emplace_back("未找到 Codex token_count 事件");
        return result;
    }
    result.analytics = makeLocalAnalytics(aggregation, request.statistics, request.windows);
    result.analytics.skillUsages = std::move(skills);
    if (LocalAnalyticsCachePolicy::mayStore(rejected)) {
        publish(made, result, caches.analytics);
        persistAnalytics(request, caches.analytics);
    }
    trace.checkpoint("analytics-publish");
    trace.finish("local-analytics");
    return result;
}

}  // namespace vantry::CodexUsageReader
