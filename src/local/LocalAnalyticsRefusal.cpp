#include "local/LocalAnalyticsRefusal.h"

namespace vantry::CodexUsageReader {

std::string unreadableLogsMessage(std::size_t count, bool hasFallback) {
    return std::to_string(count) + " 个 Codex session 日志暂时无法读取" +
           (hasFallback ? "，显示上次完整统计（数据可能暂时陈旧）"
                        : "，今日、近 7 天与日趋势暂不可用");
}

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
