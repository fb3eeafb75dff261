#include "refresh/OfficialUsageFallback.h"

namespace vantry::QuotaRefreshFallbackPolicy {

namespace {

void takeLifetime(UsageSnapshot& into, const UsageSnapshot& earlier) {
    into.officialLifetimeTokens = earlier.officialLifetimeTokens;
    into.officialLifetimeCapturedAt = earlier.officialLifetimeCapturedAt;
    into.officialLifetimeIsStale = earlier.officialLifetimeIsStale;
}

void takeDays(UsageSnapshot& into, const UsageSnapshot& earlier) {
    into.cloudDailyBuckets = earlier.cloudDailyBuckets;
    into.cloudDailyUsageCapturedAt = earlier.cloudDailyUsageCapturedAt;
    into.cloudDailyUsageIsStale = earlier.cloudDailyUsageIsStale;
}

void keepLifetime(UsageSnapshot& into, const UsageSnapshot& earlier) {
    switch (into.officialUsageReadStatus) {
        case OfficialUsageReadStatus::succeeded:
            return;
        case OfficialUsageReadStatus::notAttempted:
            takeLifetime(into, earlier);
            into.officialUsageReadStatus = earlier.officialUsageReadStatus;
            return;
        case OfficialUsageReadStatus::failed:
            break;
    }
    if (earlier.officialLifetimeTokens) {
        takeLifetime(into, earlier);
        into.officialLifetimeIsStale = true;
    } else if (earlier.officialUsageReadStatus == OfficialUsageReadStatus::succeeded) {
        // The service said that there is none; a total out of a cache is older than that.
        takeLifetime(into, earlier);
    }
}

void keepDays(UsageSnapshot& into, const UsageSnapshot& earlier) {
    if (into.cloudDailyBuckets) return;
    if (!into.cloudDailyUsageAttempted) {
        takeDays(into, earlier);
        into.cloudDailyUsageAttempted = earlier.cloudDailyUsageAttempted;
    } else if (earlier.cloudDailyBuckets) {
        takeDays(into, earlier);
        into.cloudDailyUsageIsStale = true;
    }
}

}  // namespace

void keepOfficialUsage(UsageSnapshot& into, const UsageSnapshot& earlier) {
    keepLifetime(into, earlier);
    keepDays(into, earlier);
}

}  // namespace vantry::QuotaRefreshFallbackPolicy
