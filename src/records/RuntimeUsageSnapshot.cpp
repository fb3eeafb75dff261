#include "records/RuntimeUsageSnapshot.h"

#include <algorithm>

namespace vantry {

std::optional<std::int64_t> preferredRuntimeTodayTokens(const TodayTokenSources& sources) {
    return sources.detailed ? sources.detailed : sources.fallback;
}

std::optional<std::int64_t> RuntimeUsageSnapshot::todayTokens() const {
    if (!snapshot.local) return std::nullopt;
    TodayTokenSources sources{.fallback = snapshot.local->todayTokens};
    if (const auto& detailed = snapshot.local->detailedUsage) {
        sources.detailed = detailed->today.tokens.visibleTotalTokens();
    }
    return preferredRuntimeTodayTokens(sources);
}

std::optional<Date> RuntimeUsageSnapshot::defaultQuotaCapturedAt(const UsageSnapshot& snapshot) {
    if (!snapshot.primary && !snapshot.secondary) return std::nullopt;
    return snapshot.refreshedAt;
}

RuntimeUsageSnapshot RuntimeUsageSnapshot::replacingTaskBoard(
    std::optional<TaskBoard> board) const {
    RuntimeUsageSnapshot result = *this;
    result.snapshot = snapshot.replacingTaskBoard(std::move(board));
    return result;
}

MultiRuntimeUsageSnapshot MultiRuntimeUsageSnapshot::empty() {
    const Date now = Date::now();
    return {.refreshedAt = now,
            .runtimes = {},
            .aggregate = UsageSnapshot::empty(),
            .statisticsIdentity = StatisticsIdentity::empty(now)};
}

const RuntimeUsageSnapshot* MultiRuntimeUsageSnapshot::runtime(RuntimeScope scope) const {
    const auto found = std::ranges::find(runtimes, scope, &RuntimeUsageSnapshot::scope);
    return found == runtimes.end() ? nullptr : &*found;
}

const UsageSnapshot& MultiRuntimeUsageSnapshot::displaySnapshot(RuntimeScope scope) const {
    const RuntimeUsageSnapshot* found = runtime(scope);
    return found != nullptr ? found->snapshot : aggregate;
}

}  // namespace vantry
