#include "refresh/UsageStoreState.h"

#include <tuple>

#include "refresh/StatisticsDay.h"

namespace vantry {

namespace {

auto quotaOf(const RuntimeUsageSnapshot& runtime) {
    const UsageSnapshot& s = runtime.snapshot;
    return std::tie(runtime.status, runtime.quotaCapturedAt, runtime.quotaSourceLabel, s.account,
                    s.accountIdentity, s.primary, s.secondary, s.credits, s.limits);
}

auto usageOf(const RuntimeUsageSnapshot& runtime) {
    const UsageSnapshot& s = runtime.snapshot;
    return std::tie(s.local, s.localUsageCapturedAt, s.localUsageIsStale, s.localUsageReadStatus,
                    s.cloudDailyBuckets, s.cloudDailyUsageCapturedAt, s.cloudDailyUsageIsStale,
                    s.officialLifetimeTokens, s.officialLifetimeCapturedAt,
                    s.officialLifetimeIsStale, s.officialUsageReadStatus);
}

auto activityOf(const RuntimeUsageSnapshot& runtime) {
    const UsageSnapshot& s = runtime.snapshot;
    return std::tie(s.refreshedAt, s.readerState, s.messages);
}

}  // namespace

void UsageStoreChanges::add(const UsageStoreChanges& more) {
    quota = quota || more.quota;
    local = local || more.local;
    board = board || more.board;
    activity = activity || more.activity;
    zone = zone || more.zone;
}

UsageStoreChanges changesBetween(const MultiRuntimeUsageSnapshot& before,
                                 const MultiRuntimeUsageSnapshot& after) {
    UsageStoreChanges changes{
        .activity = before.refreshedAt != after.refreshedAt,
        .zone = !sameStatisticsDay(before.statisticsIdentity, after.statisticsIdentity)};
    if (before.runtimes.size() != after.runtimes.size()) {
        changes.quota = changes.local = changes.board = changes.activity = true;
        return changes;
    }
    for (std::size_t i = 0; i < after.runtimes.size(); ++i) {
        const RuntimeUsageSnapshot& earlier = before.runtimes[i];
        const RuntimeUsageSnapshot& later = after.runtimes[i];
        changes.add({.quota = quotaOf(earlier) != quotaOf(later),
                     .local = usageOf(earlier) != usageOf(later),
                     .board = earlier.snapshot.taskBoard != later.snapshot.taskBoard,
                     .activity = activityOf(earlier) != activityOf(later)});
    }
    return changes;
}

}  // namespace vantry
