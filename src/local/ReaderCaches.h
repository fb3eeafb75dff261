#pragma once

#include <map>
#include <optional>
#include <string>

#include "local/LocalAnalyticsCache.h"
#include "local/SessionUsageCacheEntry.h"
#include "local/SessionUsageValidationPlanner.h"
#include "local/SkillStaticInfo.h"

namespace vantry {

/// What is known of the session logs, by their path.
struct SessionUsageCache {
    std::map<std::string, SessionUsageCacheEntry> entries;
    bool isDiskMerged = false;  ///< the file has been read, or there is none
    bool hasChanges = false;    ///< something is not on disk yet
    std::optional<Date> lastSessionSourceSweepAt;
    /// The rows that the last accepted batch was made from.
    std::optional<SessionUsageSourceRevisions> previousRevisions;
};

/// What outlives a read: made once by the program, and by hand in a test. One read at a time.
struct ReaderCaches {
    SessionUsageCache sessions;
    LocalAnalyticsCache analytics;
    SkillStaticInfoCache skills;
};

}  // namespace vantry
