#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include "local/LocalAnalytics.h"

namespace vantry {

/// The last complete batch, in memory and on disk.
struct LocalAnalyticsCache {
    std::optional<LocalAnalyticsCacheEntry> memory;
    std::optional<LocalAnalyticsCacheEntry> persistent;  ///< as the file had it
    bool isPersistentLoaded = false;
    bool isPending = false;  ///< the entry in memory is not on disk yet
};

namespace LocalAnalyticsCachePolicy {

/// A batch that left events of the coming day out is not kept, so that they count as soon as their
/// time has come. Those further ahead belong to another day's batch.
constexpr bool mayStore(std::int64_t rejectedFutureTokenEventCount) {
    return rejectedFutureTokenEventCount == 0;
}

}  // namespace LocalAnalyticsCachePolicy

namespace CodexUsageReader {

/// Raised whenever the analytics change their meaning; an entry of another version is not used.
inline constexpr std::int64_t localAnalyticsCacheVersion = 33;
inline constexpr std::int64_t localAnalyticsCacheByteLimit = 8 * 1024 * 1024;

/// The cache file below a directory of caches; an empty path, for no persistence, below none.
std::filesystem::path localAnalyticsCacheURL(const std::filesystem::path& cacheDirectory);

/// The entry of the file. Whatever is wrong with it, it counts as absent. Blocks; any thread.
std::optional<LocalAnalyticsCacheEntry> readPersistentLocalAnalyticsCache(
    const std::filesystem::path& file);

struct LocalAnalyticsCacheWrite {
    const LocalAnalyticsCacheEntry& entry;
    std::filesystem::path cacheURL;  ///< may be empty: nothing is done
    std::int64_t maxByteCount = localAnalyticsCacheByteLimit;
};

/// Replaces the file, whole or not at all. False when the entry takes more bytes than it may or
/// cannot be written; the file is then as it was. Blocks.
bool writePersistentLocalAnalyticsCache(const LocalAnalyticsCacheWrite& write);

/// The day and the zone that figures are shown for.
struct LocalAnalyticsDay {
    std::string dayKey;
    std::string timeZoneIdentifier;
};

/// The entry in memory, else the one of the file: the last complete figures of the same day and
/// zone, whatever has become of their sources since. Null if there are none.
const LocalAnalyticsCacheEntry* lastCompleteLocalAnalyticsCache(const LocalAnalyticsCache& cache,
                                                                const LocalAnalyticsDay& day);

/// What identifies a batch of which nothing has changed.
struct LocalAnalyticsSources {
    LocalAnalyticsDay day;
    std::string databaseFingerprint;
    std::string sourceFingerprint;
};

/// Whether the entry was made from exactly these sources, on that day.
bool isMadeFrom(const LocalAnalyticsCacheEntry& entry, const LocalAnalyticsSources& sources);

}  // namespace CodexUsageReader

}  // namespace vantry
