#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "local/ReaderCaches.h"
#include "local/SessionFamilies.h"
#include "local/SessionLogReader.h"
#include "local/SessionUsageDeduplicator.h"
#include "records/LocalUsageGaps.h"

namespace vantry::CodexUsageReader {

/// The logs of a home, read and counted once.
struct SessionBatchRequest {
    const std::vector<SessionUsageSource>& rows;  ///< of the thread index
    const SessionReadSetting& setting;
    /// Logs that are read at the same time; by itself as many as there are cores, from one to four.
    std::size_t threadCount = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 4);
};

struct LoadedSessions {
    std::deque<SessionUsageSource> sources;  ///< what the sessions refer to
    std::vector<LoadedSessionUsage>
        sessions;         ///< oldest first, and behind them those that are gone
    LocalUsageGaps gaps;  ///< what reading found; counting finds more
    /// Logs that cannot be read now and may be readable soon: the batch has to wait for them.
    std::size_t waitingLogs = 0;
};

/// Brings the cache up to date with all logs that the index names or that lie in Codex's folders,
/// and gives every log's entry, as it lies in the cache. What the cache counted and the home no
/// longer holds is kept. The results are the same as if the logs were read one by one. Blocks.
LoadedSessions loadSessions(const SessionBatchRequest& request, SessionUsageCache& cache);

/// What one log adds to the figures.
struct VisitedSession {
    const SessionUsageSource& source;
    const SessionUsageCacheEntry& entry;
    const EffectiveSessionUsage& usage;
    const SessionUsageSource& root;  ///< the conversation that it belongs to
    /// Requests of another thread, whose own log does not tell of them. The log itself comes in a
    /// visit of its own.
    bool isBorrowed = false;
};

/// Hands over what each log itself tells, in order. Events after `cutoff` are left out. What could
/// not be told is added to the gaps.
void visitEffectiveUsage(const LoadedSessions& loaded, Date cutoff, LocalUsageGaps& gaps,
                         const std::function<void(const VisitedSession&)>& visit);

}  // namespace vantry::CodexUsageReader
