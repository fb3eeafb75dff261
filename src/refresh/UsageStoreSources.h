#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "local/analytics/LocalUsageReader.h"
#include "refresh/CodexRefreshSourceFingerprint.h"
#include "runtime/MultiRuntimeUsageReader.h"

namespace vantry {

/// Everything that the usage store reads from the world. Every function but the first may block.
/// They are called in the background, one after another; those that make a fingerprint are also
/// called during a `load`, on a thread of its own.
struct UsageStoreSources {
    using Fingerprint = std::optional<CodexRefreshSourceFingerprint::Value>;
    using Paths = std::vector<std::string>;

    /// The context of a read at `now`. The main thread.
    std::function<RuntimeLoadContext(Date now, const StatisticsTimeZonePreference&)> liveContext;

    /// The session logs that the thread index names or that lie in Codex's folders.
    std::function<Paths(const RuntimeLoadContext&)> indexedSessionFiles;
    /// Nothing where a file's metadata cannot be read.
    std::function<Fingerprint(const RuntimeLoadContext&, const Paths& indexedSessionFiles)>
        localUsageFingerprint;
    std::function<Fingerprint(const RuntimeLoadContext&)> taskBoardFingerprint;

    /// The last good figures of the day, of whoever is known to be signed in still, each with its
    /// time. Asks neither the service nor Codex's database.
    std::function<std::optional<RuntimeUsageSnapshot>(const RuntimeLoadContext&)> loadKept =
        [](const auto&) { return std::nullopt; };
    std::function<MultiRuntimeUsageSnapshot(const RuntimeLoadContext&,
                                            const MultiRuntimeUsageReader::LoadRequest&)>
        load;
    /// The account and its quota alone.
    std::function<UsageSnapshot(const RuntimeLoadContext&)> loadQuota;
    std::function<CodexUsageReader::LocalUsageRead(const RuntimeLoadContext&)> readLocalUsage;
    std::function<std::optional<TaskBoard>(const RuntimeLoadContext&)> loadTaskBoard;

    /// The machine's own. What outlives a read is shared by all of them and lives as long as they.
    static UsageStoreSources real();
};

}  // namespace vantry
