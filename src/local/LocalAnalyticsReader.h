#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "local/LocalAnalytics.h"
#include "local/ReaderCaches.h"
#include "local/ThreadIndex.h"
#include "statistics/StatisticsWindows.h"

namespace vantry::CodexUsageReader {

struct LocalAnalyticsRequest {
    StateDatabase database;
    std::filesystem::path homeDirectory;   ///< Skills lie below it
    std::filesystem::path codexHome;       ///< logs lie below it, and Skills may
    std::filesystem::path cacheDirectory;  ///< may be empty: nothing is kept on disk
    const StatisticsContext& statistics;
    const StatisticsWindows& windows;
    bool acceptsEventsWrittenDuringLoad = false;
    bool persistCaches = true;  ///< else what changed waits for the next read that may write
};

/// What the session logs say. A log that cannot be read now, and may be readable soon, holds the
/// batch back: the last complete figures of the day come back, marked stale, or nothing. What
/// cannot be had at all is named in the gaps, and everything else is counted. Messages for the user
/// are appended. Blocks; one read at a time for each `caches`.
LocalAnalyticsReadResult readLocalAnalytics(const LocalAnalyticsRequest& request,
                                            ReaderCaches& caches,
                                            std::vector<std::string>& messages);

}  // namespace vantry::CodexUsageReader
