#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "local/SessionLogReader.h"
#include "local/SessionUsageDeduplicator.h"

namespace vantry::CodexUsageReader {

/// The logs of a thread index, read and counted once.
struct SessionBatchRequest {
    const std::vector<SessionUsageSource>& sources;
    /// The paths that have to be looked at; the others are taken from the cache.
    const std::vector<std::string>& pathsToValidate;
    const SessionReadSetting& setting;
    std::size_t threadCount = 2;  ///< logs that are read at the same time
};

/// Why a batch is not complete.
struct SessionBatchFailures {
    std::size_t unreadableLogs = 0;
    std::size_t unresolvedParents = 0;
    std::size_t damagedEntries = 0;  ///< undecodable, or in a circle of parents

    bool isNone() const { return unreadableLogs + unresolvedParents + damagedEntries == 0; }

    friend bool operator==(const SessionBatchFailures&, const SessionBatchFailures&) = default;
};

struct LoadedSessions {
    std::vector<LoadedSessionUsage> sessions;  ///< in the order of the sources
    std::set<std::string> unreadablePaths;     ///< of the sources that are not among them
};

/// Brings the cache up to date and gives every readable thread's entry, in the order of the
/// sources, as it lies in the cache. The results, and what is kept in the cache, are the same as if
/// the logs were read one by one. Blocks.
LoadedSessions loadSessions(const SessionBatchRequest& request, SessionUsageCache& cache);

/// One thread of a batch as it is counted.
struct VisitedSession {
    const SessionUsageSource& source;
    const SessionUsageCacheEntry& entry;
    const EffectiveSessionUsage& usage;
    const SessionUsageSource& root;  ///< the conversation that it belongs to
};

/// Hands over what each thread itself used, in order, up to the first failure: a caller that sees
/// one throws away what it has. Events after `cutoff` are left out.
SessionBatchFailures visitEffectiveUsage(const LoadedSessions& loaded, Date cutoff,
                                         const std::function<void(const VisitedSession&)>& visit);

}  // namespace vantry::CodexUsageReader
