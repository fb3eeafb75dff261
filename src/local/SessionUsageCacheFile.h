#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "local/ReaderCaches.h"

/// The session usage cache on disk: one JSON document of a version and the entries by the path of
/// their log. Whatever is wrong with the file, it counts as absent and the logs are read anew.
namespace vantry::CodexUsageReader {

/// Raised whenever entries change their meaning. Of the version before, entries are taken whose
/// logs are gone; a file of any other is ignored.
inline constexpr std::int64_t sessionUsageCacheVersion = 14;
inline constexpr double sessionUsageCacheTTL = 7'776'000;  ///< seconds: 90 days
inline constexpr std::int64_t sessionUsageCacheByteLimit = 256 * 1024 * 1024;

using SessionUsageCacheEntries = std::map<std::string, SessionUsageCacheEntry>;

/// The cache file below a directory of caches; an empty path, for no persistence, below none.
std::filesystem::path sessionUsageCacheURL(const std::filesystem::path& cacheDirectory);

struct SessionUsageDiskCacheReading {
    std::optional<SessionUsageCacheEntries> entries;
    std::string error;  ///< empty without one
};

/// The entries of a document, with every byte of them checked: a single bad one fails them all. The
/// entries of another version are not looked at. Any thread.
SessionUsageDiskCacheReading readSessionUsageDiskCache(std::string_view document);

/// The entries in memory after those of `file` have been merged in, which happens once per cache;
/// what memory already holds stays. `file` may be empty. Blocks for one read of the file.
SessionUsageCacheEntries& persistentSessionUsageCache(SessionUsageCache& cache,
                                                      const std::filesystem::path& file);

struct SessionUsageCacheWrite {
    std::filesystem::path file;         ///< may be empty: nothing is done
    std::set<std::string> activePaths;  ///< the logs of the home
    Date now;
};

/// Writes the entries that are worth their room; memory keeps all. What another process has written
/// since the file was last read is taken over first. The
/// file is replaced whole or not at all; a failure goes to the debug log and leaves `hasChanges`
/// set, and the file as it was. Blocks.
void writePersistentSessionUsageCache(SessionUsageCache& cache,
                                      const SessionUsageCacheWrite& write);

struct SessionUsageCachePruning {
    SessionUsageCacheEntries entries;
    const std::set<std::string>& activePaths;
    Date now;
    double ttl = sessionUsageCacheTTL;  ///< seconds
    std::size_t entryLimit = 0;
    std::int64_t byteLimit = sessionUsageCacheByteLimit;
};

struct PrunedSessionUsageCache {
    SessionUsageCacheEntries entries;
    SessionUsageCacheEntries unfitting;  ///< that found no room and are not too old
    std::string document;                ///< the first entries in JSON
    std::string error;                   ///< empty without one; there is no document then
};

/// The entries that are worth their room, active ones stamped with `now`: without those unused for
/// longer than `ttl`, of the rest the `entryLimit` most recently used, and of these, in that order,
/// each that still fits below `byteLimit` together with what the document needs around it. An entry
/// that a reader of the document would refuse is left out. Encodes each entry once.
PrunedSessionUsageCache prunedSessionUsageCache(SessionUsageCachePruning pruning);

}  // namespace vantry::CodexUsageReader
