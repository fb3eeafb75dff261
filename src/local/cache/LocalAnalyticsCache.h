#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "local/cache/LocalAnalytics.h"

namespace vantry {

/// The last complete batch, in memory and as it is kept beside the logs.
struct LocalAnalyticsCache {
    std::optional<LocalAnalyticsCacheEntry> memory;
    std::optional<LocalAnalyticsCacheEntry> persistent;  ///< as the store had it
    bool isPersistentLoaded = false;
    std::string home;  ///< of which they are
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
inline constexpr std::int64_t localAnalyticsCacheVersion = 35;
inline constexpr std::int64_t localAnalyticsCacheByteLimit = 8 * 1024 * 1024;

/// The entry of kept bytes. Whatever is wrong with them, they count as absent. Any thread.
std::optional<LocalAnalyticsCacheEntry> readPersistentLocalAnalyticsCache(std::string_view bytes);

/// The bytes of an entry; nothing when its text takes more bytes than it may or cannot be encoded.
std::optional<std::string> persistentLocalAnalyticsCache(
    const LocalAnalyticsCacheEntry& entry,
    std::int64_t maxByteCount = localAnalyticsCacheByteLimit);

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
