#include "official/OfficialDailyUsageCache.h"

#include <system_error>
#include <utility>

#include "io/BoundedCacheData.h"
#include "platform/AtomicFile.h"

namespace vantry::CodexUsageReader {

namespace {

namespace fs = std::filesystem;

bool isPast(Date captured, Date now) {
    return captured.isFinite() && captured <= now;
}

std::optional<CachedOfficialDailyUsage> checked(OfficialDailyUsageDiskCache cache, Date now) {
    if (!isPast(cache.capturedAt, now)) return std::nullopt;
    if (cache.officialLifetimeCapturedAt && !isPast(*cache.officialLifetimeCapturedAt, now)) {
        return std::nullopt;
    }
    const bool isLifetimeGood =
        !cache.officialLifetimeTokens ||
        (*cache.officialLifetimeTokens >= 0 && cache.officialLifetimeCapturedAt);
    if (!isLifetimeGood) return std::nullopt;
    auto buckets = checkedOfficialDays(std::move(cache.buckets), now);
    if (!buckets) return std::nullopt;
    return CachedOfficialDailyUsage{.buckets = *std::move(buckets),
                                    .officialLifetimeTokens = cache.officialLifetimeTokens,
                                    .officialLifetimeCapturedAt = cache.officialLifetimeCapturedAt,
                                    .capturedAt = cache.capturedAt};
}

std::optional<CachedOfficialDailyUsage> earlierUsage(
    const OfficialDailyUsagePersistence& persistence, const std::string& owner) {
    const auto& previous = persistence.previousSnapshot;
    if (previous && previous->accountIdentity == owner && previous->cloudDailyBuckets &&
        previous->cloudDailyUsageCapturedAt) {
        return CachedOfficialDailyUsage{
            .buckets = *previous->cloudDailyBuckets,
            .officialLifetimeTokens = previous->officialLifetimeTokens,
            .officialLifetimeCapturedAt = previous->officialLifetimeCapturedAt,
            .capturedAt = *previous->cloudDailyUsageCapturedAt};
    }
    return readPersistentOfficialDailyUsageCache(persistence.context, owner);
}

}  // namespace

fs::path officialDailyUsageCacheURL(const fs::path& cacheDirectory) {
    return cacheDirectory.empty() ? fs::path() : cacheDirectory / "official-daily-usage-v2.json";
}

void writePersistentOfficialDailyUsageCache(const OfficialDailyUsageCacheWrite& write) {
    const fs::path file = officialDailyUsageCacheURL(write.context.cacheDirectory);
    if (file.empty() || !write.accountIdentity || write.accountIdentity->empty()) return;
    OfficialDailyUsageDiskCache cache{
        .accountIdentity = write.accountIdentity,
        .capturedAt = write.usage.capturedAt,
        .buckets = {},
        .officialLifetimeTokens = write.usage.officialLifetimeTokens,
        .officialLifetimeCapturedAt = write.usage.officialLifetimeCapturedAt};
    cache.buckets.reserve(write.usage.buckets.size());
    for (const DailyTokenBucket& bucket : write.usage.buckets) {
        cache.buckets.push_back({.day = bucket.id, .tokens = bucket.tokens});
    }
    const auto document = writeJson(encode(cache, RecordForm::stored), JsonLayout::compact);
    if (!document || document->size() > officialDailyUsageCacheByteLimit) return;
    std::error_code ignored;
    fs::create_directories(file.parent_path(), ignored);
    ignored = replaceFileAtomically(file, *document);
}

std::optional<CachedOfficialDailyUsage> readPersistentOfficialDailyUsageCache(
    const RuntimeLoadContext& context, const std::optional<std::string>& accountIdentity) {
    const fs::path file = officialDailyUsageCacheURL(context.cacheDirectory);
    if (file.empty() || !accountIdentity || accountIdentity->empty()) return std::nullopt;
    const auto bytes = boundedCacheData(file, officialDailyUsageCacheByteLimit);
    const auto document = bytes ? JsonDocument::parse(*bytes) : std::nullopt;
    OfficialDailyUsageDiskCache cache;
    if (!document || !decode(document->root(), cache) ||
        cache.version != officialDailyUsageCacheVersion ||
        cache.accountIdentity != accountIdentity) {
        return std::nullopt;
    }
    return checked(std::move(cache), context.now);
}

void resolveOfficialDailyUsagePersistence(const OfficialDailyUsagePersistence& persistence) {
    AppServerSnapshot& session = persistence.snapshot;
    const auto& previous = persistence.previousSnapshot;
    const bool isOwned = session.accountIdentity || !previous || !previous->accountIdentity;
    if (session.cloudDailyBuckets && isOwned) {
        // Where nobody is known, the days are shown as they came, and kept for nobody.
        writePersistentOfficialDailyUsageCache(
            {.context = persistence.context,
             .accountIdentity = session.accountIdentity,
             .usage = {.buckets = *session.cloudDailyBuckets,
                       .officialLifetimeTokens = session.officialLifetimeTokens,
                       .officialLifetimeCapturedAt = session.officialLifetimeCapturedAt,
                       .capturedAt =
                           session.cloudDailyUsageCapturedAt.value_or(persistence.context.now)}});
        return;
    }
    // Whoever is not known to be the same inherits nothing, here as in every later merge.
    const auto& owner = session.accountIdentity;
    auto earlier = owner ? earlierUsage(persistence, *owner) : std::nullopt;
    if (!earlier) return;
    session.cloudDailyBuckets = std::move(earlier->buckets);
    session.cloudDailyUsageCapturedAt = earlier->capturedAt;
    session.cloudDailyUsageIsStale = true;
    // An answer that brought a total, or none, has the last word on it, whatever its days were.
    if (session.officialUsageReadStatus == OfficialUsageReadStatus::succeeded) return;
    session.officialLifetimeTokens = earlier->officialLifetimeTokens;
    session.officialLifetimeCapturedAt = earlier->officialLifetimeCapturedAt;
    session.officialLifetimeIsStale = true;
}

}  // namespace vantry::CodexUsageReader
