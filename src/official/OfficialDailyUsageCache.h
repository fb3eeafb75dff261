#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "official/AppServerSnapshot.h"
#include "official/OfficialDailyUsageParsing.h"
#include "records/UsageSnapshot.h"
#include "statistics/RuntimeLoadContext.h"

/// The last good batch of official days, kept on disk with its account, so that a cold start can
/// show history at once. Whatever is wrong with the file, it counts as absent and nobody is told.
namespace vantry::CodexUsageReader {

/// A file of another version is ignored.
inline constexpr std::int64_t officialDailyUsageCacheVersion = 2;
inline constexpr std::int64_t officialDailyUsageCacheByteLimit = 524'288;

struct CachedOfficialDailyUsage {
    std::vector<DailyTokenBucket> buckets;  ///< oldest first
    std::optional<std::int64_t> officialLifetimeTokens;
    std::optional<Date> officialLifetimeCapturedAt;
    Date capturedAt;  ///< when the batch came from the service

    friend bool operator==(const CachedOfficialDailyUsage&,
                           const CachedOfficialDailyUsage&) = default;
};

/// The file's contents.
struct OfficialDailyUsageDiskCache {
    std::int64_t version = officialDailyUsageCacheVersion;
    std::optional<std::string> accountIdentity;
    Date capturedAt;
    std::vector<OfficialDay> buckets;
    std::optional<std::int64_t> officialLifetimeTokens;
    std::optional<Date> officialLifetimeCapturedAt;

    friend bool operator==(const OfficialDailyUsageDiskCache&,
                           const OfficialDailyUsageDiskCache&) = default;
};

/// The cache file below a directory of caches; an empty path, for no persistence, below none.
std::filesystem::path officialDailyUsageCacheURL(const std::filesystem::path& cacheDirectory);

struct OfficialDailyUsageCacheWrite {
    const RuntimeLoadContext& context;
    const std::optional<std::string>& accountIdentity;
    const CachedOfficialDailyUsage& usage;
};

/// Replaces the file, whole or not at all. A batch without an owner, or one above the limit, is
/// not kept. Blocks for the disk.
void writePersistentOfficialDailyUsageCache(const OfficialDailyUsageCacheWrite& write);

/// The batch of that account, judged anew as if it came from the service, with its own capture
/// times. Blocks for one read of at most 512 KiB.
std::optional<CachedOfficialDailyUsage> readPersistentOfficialDailyUsageCache(
    const RuntimeLoadContext& context, const std::optional<std::string>& accountIdentity);

struct OfficialDailyUsagePersistence {
    AppServerSnapshot& snapshot;  ///< changed in place
    const std::optional<UsageSnapshot>& previousSnapshot;
    const RuntimeLoadContext& context;
};

/// Keeps the days of a session that brought some, or lays the last complete ones of the same
/// account into a session that brought none, marked stale and with their old capture times. Blocks
/// for the disk.
void resolveOfficialDailyUsagePersistence(const OfficialDailyUsagePersistence& persistence);

}  // namespace vantry::CodexUsageReader

namespace vantry {

template <>
struct RecordFields<CodexUsageReader::OfficialDailyUsageDiskCache> {
    using Cache = CodexUsageReader::OfficialDailyUsageDiskCache;
    static constexpr std::tuple list{
        field("version", &Cache::version),
        field("accountIdentity", &Cache::accountIdentity),
        field("capturedAt", &Cache::capturedAt),
        field("buckets", &Cache::buckets),
        field("officialLifetimeTokens", &Cache::officialLifetimeTokens),
        field("officialLifetimeCapturedAt", &Cache::officialLifetimeCapturedAt)};
};

}  // namespace vantry
