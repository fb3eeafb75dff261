#include "local/analytics/LocalUsageReader.h"

#include <string_view>
#include <system_error>

#include "io/BoundedCacheData.h"
#include "local/analytics/LocalAnalyticsReader.h"
#include "local/cache/KeptThreadIndex.h"
#include "local/index/ProjectNames.h"
#include "statistics/UsageDimensionBreakdownAccumulator.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

// Codex's own file, which may be a link: without one, or with a damaged one, projects have no
// names. Far above what names can take it is damaged.
CodexProjectNameIndex readProjectNames(const fs::path& codexHome) {
    constexpr std::int64_t byteLimit = 64 * 1024 * 1024;
    std::error_code error;
    const fs::path file = fs::canonical(codexHome / ".codex-global-state.json", error);
    const auto bytes = error ? std::nullopt : boundedCacheData(file, byteLimit);
    return CodexProjectNameIndex(bytes ? std::optional<std::string_view>(*bytes) : std::nullopt);
}

// What a link leads to: two homes behind one link are two homes.
fs::path canonicalPath(const fs::path& path) {
    std::error_code error;
    fs::path canonical = fs::canonical(path, error);
    return error ? path : canonical;
}

std::vector<ProjectUsage> named(const std::vector<ProjectUsage>& projects,
                                const CodexProjectNameIndex& names) {
    return applyingCodexProjectNames(projects, names);
}

void nameProjects(LocalAnalytics& analytics, const CodexProjectNameIndex& names) {
    if (analytics.todayProjects) analytics.todayProjects = named(*analytics.todayProjects, names);
    analytics.recentProjects = named(analytics.recentProjects, names);
    analytics.allProjects = named(analytics.allProjects, names);
    // The breakdown's projects are known by the same normalised paths.
    for (auto* byDimension : {&analytics.dimensionBreakdown.projectsByToolID,
                              &analytics.dimensionBreakdown.projectsBySkillID}) {
        for (auto& [dimension, projects] : *byDimension) {
            for (UsageDimensionProject& project : projects) {
                if (auto name = names.name(project.id)) project.name = *std::move(name);
            }
        }
    }
    // Equals are ordered by name.
    analytics.dimensionBreakdown = merging(analytics.dimensionBreakdown, {});
}

std::vector<DailyTokenBucket> dailyBucketsOf(const UsageTrend& trend) {
    std::vector<DailyTokenBucket> buckets;
    for (const UsageDayBucket& day : trend.dayBuckets) {
        const std::int64_t tokens = day.usage.tokens.visibleTotalTokens();
        const bool isToday = &day == &trend.dayBuckets.back();
        if (tokens > 0 || isToday) {
            buckets.push_back(DailyTokenBucket::of(day.id, tokens));
        }
    }
    return buckets;
}

LocalUsage compose(const SQLiteLocalTotals& totals, LocalAnalytics analytics) {
    LocalUsage local{.threadCount = totals.threadCount,
                     .lastUpdatedAt = totals.lastUpdatedAt,
                     .recentThreads = std::move(analytics.recentThreads),
                     .toolUsages = std::move(analytics.toolUsages),
                     .skillUsages = std::move(analytics.skillUsages),
                     .modelUsage = std::move(analytics.modelUsage),
                     .gaps = std::move(analytics.gaps)};
    if (!analytics.detailedUsage) return local;
    const DetailedUsage& detailed = *analytics.detailedUsage;
    local.lifetimeTokens = detailed.lifetime.tokens.visibleTotalTokens();
    local.todayTokens = detailed.today.tokens.visibleTotalTokens();
    local.sevenDayTokens = detailed.sevenDay.tokens.visibleTotalTokens();
    if (analytics.usageTrend) local.dailyBuckets = dailyBucketsOf(*analytics.usageTrend);
    local.projectBoard =
        ProjectBoard{.todayProjects = std::move(analytics.todayProjects),
                     .recentProjects = std::move(analytics.recentProjects),
                     .allProjects = std::move(analytics.allProjects),
                     .localDailyByProject = std::move(analytics.localDailyByProject),
                     .detailsByProjectID = std::move(analytics.projectDetails),
                     .dimensionBreakdown = std::move(analytics.dimensionBreakdown)};
    local.detailedUsage = std::move(analytics.detailedUsage);
    local.usageTrend = std::move(analytics.usageTrend);
    return local;
}

constexpr int mostAttempts = 4;

LocalUsageRead readOnce(const LocalUsageRequest& request, const StateDatabaseFiles& databases,
                        ReaderCaches& caches) {
    const RuntimeLoadContext& context = request.context;
    const StatisticsWindows windows = StatisticsWindows::of(context.statistics);
    const fs::path codexHome = canonicalPath(context.codex().home);
    caches.sessions.open({.file = sessionStoreFile(context.recordDirectory()),
                          .formerDirectory = context.cacheDirectory,
                          .codexHome = codexHome,
                          .maySpill = request.persistCaches});
    const auto index = readKeptThreadIndex(databases, caches);
    LocalUsageRead read;
    if (const auto* failure = std::get_if<SQLiteReadFailure>(&index)) {
        read.result.capturedAt = context.now;
        read.messages = {{noticeOf(*failure)}, {NoticeKind::sessionDetailsMissing}};
        return read;
    }
    const ThreadIndexReading& threads = *std::get<const ThreadIndexReading*>(index);
    auto analytics = readLocalAnalytics(
        {.index = threads,
         .homeDirectory = context.homeDirectory,
         .codexHome = codexHome,
         .statistics = context.statistics,
         .windows = windows,
         .acceptsEventsWrittenDuringLoad = context.acceptsEventsWrittenDuringLoad},
        caches, read.messages);
    read.result = {.capturedAt = analytics.capturedAt,
                   .isStale = analytics.isStale,
                   .readStatus = analytics.readStatus};
    if (!analytics.analytics.detailedUsage)
        read.messages.push_back({NoticeKind::sessionDetailsMissing});
    nameProjects(analytics.analytics, readProjectNames(request.userCodex.home));
    read.result.local = compose(threads.totals, std::move(analytics.analytics));
    return read;
}

}  // namespace

LocalUsageRead readLocalUsage(const LocalUsageRequest& request, ReaderCaches& caches) {
    const RuntimeLoadContext& context = request.context;
    const auto databases = stateDatabasePaths(context.codex());
    if (databases.empty()) {
        return {.result = {.dependencyFailure = LocalReaderDependencyFailure::databaseMissing},
                .messages = {{NoticeKind::databaseMissing}}};
    }
    const auto sqlite = firstExistingPath(sqliteProgramCandidates());
    if (!sqlite) {
        return {
            .result = {.dependencyFailure = LocalReaderDependencyFailure::sqliteExecutableMissing},
            .messages = {{NoticeKind::sqliteMissing}}};
    }
    LocalUsageRead read;
    // Where another process was faster, its result is where this one starts anew.
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        read = readOnce(request,
                        {.sqlitePath = *sqlite,
                         .databasePaths = databases,
                         .cancellation = request.context.cancellation},
                        caches);
        if (!request.persistCaches) break;
        if (caches.sessions.save() != SessionUsageCache::Saving::outdated) break;
    }
    return read;
}

std::optional<LocalUsageReadResult> keptLocalUsage(const LocalUsageRequest& request) {
    const RuntimeLoadContext& context = request.context;
    const StatisticsContext& statistics = context.statistics;
    SessionUsageCache::Saved saved(sessionStoreFile(context.recordDirectory()),
                                   canonicalPath(context.codex().home));
    auto kept = keptLocalAnalytics({.dayKey = statistics.currentDayKey(),
                                    .timeZoneIdentifier = statistics.resolvedIdentifier()},
                                   context.now, saved);
    const auto totals = keptThreadTotals(saved);
    if (!kept.analytics.detailedUsage || !(kept.capturedAt <= context.now) || !totals) {
        return std::nullopt;
    }
    nameProjects(kept.analytics, readProjectNames(request.userCodex.home));
    return LocalUsageReadResult{.local = compose(*totals, std::move(kept.analytics)),
                                .capturedAt = kept.capturedAt,
                                .isStale = true,
                                .readStatus = kept.readStatus};
}

}  // namespace vantry::CodexUsageReader
