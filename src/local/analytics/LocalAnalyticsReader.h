#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "local/cache/LocalAnalytics.h"
#include "local/cache/ReaderCaches.h"
#include "local/index/ThreadIndex.h"
#include "statistics/StatisticsWindows.h"

namespace vantry::CodexUsageReader {

struct LocalAnalyticsRequest {
    const ThreadIndexReading& index;
    std::filesystem::path homeDirectory;  ///< Skills lie below it
    std::filesystem::path codexHome;      ///< logs lie below it, and Skills may
    const StatisticsContext& statistics;
    const StatisticsWindows& windows;
    bool acceptsEventsWrittenDuringLoad = false;
    /// How often logs may be read again of which what was kept is damaged: their shares, then their
    /// events, then those of their kin.
    int readsAgain = 3;
};

/// What the session logs say. A log that cannot be read now, and may be readable soon, holds the
/// batch back: the last complete figures of the day come back, marked stale, or nothing. What
/// cannot be had at all is named in the gaps, and everything else is counted. Messages for the user
/// are appended. The cache of the logs is open, and is not saved. Blocks; one read at a time for
/// each `caches`.
LocalAnalyticsReadResult readLocalAnalytics(const LocalAnalyticsRequest& request,
                                            ReaderCaches& caches, Notices& messages);

/// The last complete figures of the day, marked stale, from what is kept alone; nothing, as of
/// `now`, where there are none.
LocalAnalyticsReadResult keptLocalAnalytics(const LocalAnalyticsDay& day, Date now,
                                            SessionUsageCache::Saved& saved);

}  // namespace vantry::CodexUsageReader
