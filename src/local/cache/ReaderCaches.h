#pragma once

#include <optional>

#include "local/cache/LocalAnalyticsCache.h"
#include "local/cache/SessionUsageCache.h"
#include "local/index/ThreadIndex.h"
#include "local/skills/SkillStaticInfo.h"

namespace vantry {

/// What outlives a read: made once by the program, and by hand in a test. One read at a time.
struct ReaderCaches {
    SessionUsageCache sessions;
    std::optional<ThreadIndexReading> threadIndex;  ///< the last answer of Codex's databases
    LocalAnalyticsCache analytics;
    SkillStaticInfoCache skills;
};

}  // namespace vantry
