#include "local/analytics/LocalAnalyticsRefusal.h"

namespace vantry::CodexUsageReader {

LocalAnalyticsReadResult fallbackResult(const LocalAnalyticsCache& cache,
                                        const LocalAnalyticsDay& day, Date now) {
    const LocalAnalyticsCacheEntry* last = lastCompleteLocalAnalyticsCache(cache, day);
    if (last == nullptr) return {.capturedAt = now};
    return {.analytics = last->analytics,
            .capturedAt = last->capturedAt,
            .isStale = true,
            .readStatus = LocalUsageReadStatus::staleFallback};
}

}  // namespace vantry::CodexUsageReader
