#include "local/LocalAnalyticsRefusal.h"

#include <string_view>

namespace vantry::CodexUsageReader {

namespace {

constexpr std::string_view shownInstead = "，显示上次完整统计（数据可能暂时陈旧）";

struct Words {
    std::string_view what;
    std::string_view withoutFallback;
    bool hasCount;
};

Words wordsOf(LocalAnalyticsRefusal::Reason reason) {
    using Reason = LocalAnalyticsRefusal::Reason;
    switch (reason) {
        case Reason::parentChain:
            return {"子任务父链校验失败", "，本机用量统计暂不可用", false};
        case Reason::unreadableLogs:
            return {" 个 Codex session 日志暂时无法读取", "，今日、近 7 天与日趋势暂不可用", true};
        case Reason::unresolvedParents:
            return {" 个子任务暂时无法校验父任务", "，本机用量统计暂不可用", true};
        case Reason::damagedCache:
            break;
    }
    return {"Codex session token 缓存校验失败", "，本机用量统计暂不可用", false};
}

}  // namespace

std::string LocalAnalyticsRefusal::message(bool hasFallback) const {
    const Words words = wordsOf(reason);
    std::string text = words.hasCount ? std::to_string(count) : std::string();
    text += words.what;
    text += hasFallback ? shownInstead : words.withoutFallback;
    return text;
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
