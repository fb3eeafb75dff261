#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "local/KeptSessions.h"
#include "local/LocalAnalyticsCache.h"
#include "local/SessionLogFiles.h"
#include "local/SessionUsageCacheEntry.h"
#include "local/SkillStaticInfo.h"

namespace vantry {

/// What is known of the session logs, by their path.
struct SessionUsageCache {
    std::map<std::string, SessionUsageCacheEntry> entries;
    bool isDiskMerged = false;                    ///< the file has been read, or there is none
    std::optional<SessionFileSnapshot> diskFile;  ///< as it was last read or written
    bool hasChanges = false;                      ///< something is not on disk yet
    KeptSessions kept;
    bool hasKeptChanges = false;  ///< something kept is not on disk yet
    bool mayWriteKept = true;
    std::optional<SessionFileSnapshot> keptFile;  ///< as it was last read or written
    CodexUsageReader::SessionFolderCache folders;
    std::set<std::string> namedGaps;  ///< paths that the debug log has named
};

/// What outlives a read: made once by the program, and by hand in a test. One read at a time.
struct ReaderCaches {
    SessionUsageCache sessions;
    LocalAnalyticsCache analytics;
    SkillStaticInfoCache skills;
};

}  // namespace vantry
