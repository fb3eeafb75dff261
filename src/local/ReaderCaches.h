#pragma once

#include <optional>

#include "local/LocalAnalyticsCache.h"
#include "local/SessionUsageCache.h"
#include "local/SkillStaticInfo.h"
#include "local/ThreadIndex.h"

namespace vantry {

/// What outlives a read: made once by the program, and by hand in a test. One read at a time.
struct ReaderCaches {
    SessionUsageCache sessions;
    std::optional<ThreadIndexReading> threadIndex;  ///< the last answer of Codex's databases
    LocalAnalyticsCache analytics;
    SkillStaticInfoCache skills;
};

}  // namespace vantry
