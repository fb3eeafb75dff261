#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "local/LocalAnalytics.h"
#include "local/ReaderCaches.h"
#include "local/ThreadIndex.h"
#include "statistics/StatisticsWindows.h"

namespace vantry::CodexUsageReader {

struct LocalAnalyticsRequest {
    StateDatabase database;
    std::filesystem::path homeDirectory;   ///< logs lie below its `.codex`
    std::filesystem::path codexHome;       ///< Skills may lie below it
    std::filesystem::path cacheDirectory;  ///< may be empty: nothing is kept on disk
    const StatisticsContext& statistics;
    const StatisticsWindows& windows;
    bool acceptsEventsWrittenDuringLoad = false;
    bool persistCaches = true;  ///< else what changed waits for the next read that may write
    std::set<std::string> requiredSessionValidationPaths = {};
};

/// What the session logs say, all of them or none: a batch with one log that cannot be read, or
/// one parent that cannot be checked, gives the last complete figures of the day, marked stale, or
/// nothing. Messages for the user are appended. Blocks; one read at a time for each `caches`.
LocalAnalyticsReadResult readLocalAnalytics(const LocalAnalyticsRequest& request,
                                            ReaderCaches& caches,
                                            std::vector<std::string>& messages);

}  // namespace vantry::CodexUsageReader
