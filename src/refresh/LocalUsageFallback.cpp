#include "refresh/LocalUsageFallback.h"

#include <algorithm>

namespace vantry::QuotaRefreshFallbackPolicy {

namespace {

bool isOfficial(UsageSourceQuality quality) {
    return quality == UsageSourceQuality::hybrid || quality == UsageSourceQuality::official;
}

/// Its figures come from a complete batch, of this read or of an earlier one.
bool hasCompleteBatch(const UsageSnapshot& snapshot) {
    return snapshot.localUsageReadStatus == LocalUsageReadStatus::complete ||
           snapshot.localUsageReadStatus == LocalUsageReadStatus::staleFallback;
}

/// The database was read and the logs were refused.
bool isPartial(const UsageSnapshot& snapshot) {
    const bool hasFailed = snapshot.localUsageReadStatus == LocalUsageReadStatus::unavailable ||
                           snapshot.localUsageReadStatus == LocalUsageReadStatus::staleFallback;
    return hasFailed && !snapshot.local->detailedUsage;
}

/// A complete batch is what may stand in for a failed read; it replaces a partial one only with the
/// details that this lacks.
bool mayStandIn(const UsageSnapshot& earlier, const UsageSnapshot& read) {
    return hasCompleteBatch(earlier) && (!read.local || earlier.local->detailedUsage);
}

}  // namespace

bool isAccountBound(const LocalUsage& usage) {
    if (!usage.usageTrend) return false;
    return isOfficial(usage.usageTrend->sourceQuality) ||
           std::ranges::any_of(usage.usageTrend->dayBuckets, isOfficial,
                               &UsageDayBucket::sourceQuality);
}

bool wasLocalRead(const UsageSnapshot& snapshot) {
    return snapshot.local || snapshot.localUsageReadStatus != LocalUsageReadStatus::notAttempted;
}

void keepLocalUsage(UsageSnapshot& into, const LocalFallback& fallback) {
    const UsageSnapshot& earlier = fallback.earlier;
    const bool wasRead = wasLocalRead(into);
    if (!wasRead) {
        into.localReadMessages = earlier.localReadMessages;
        into.readerState.localDependencyFailure = earlier.readerState.localDependencyFailure;
    }
    const bool isReusable = earlier.local && fallback.mayReuse &&
                            (fallback.sameAccount || !isAccountBound(*earlier.local)) &&
                            (!wasRead || mayStandIn(earlier, into));
    if (into.local && !(isPartial(into) && isReusable)) {
        if (!into.localUsageCapturedAt) into.localUsageCapturedAt = fallback.now;
        return;
    }
    if (isReusable) {
        into.local = earlier.local;
        into.localUsageCapturedAt = earlier.localUsageCapturedAt;
        into.localUsageIsStale = wasRead || earlier.localUsageIsStale;
        into.localUsageReadStatus =
            wasRead ? LocalUsageReadStatus::staleFallback : earlier.localUsageReadStatus;
        return;
    }
    into.localUsageCapturedAt.reset();
    into.localUsageIsStale = false;
    if (into.localUsageReadStatus == LocalUsageReadStatus::staleFallback) {
        into.localUsageReadStatus = LocalUsageReadStatus::unavailable;
    } else if (!wasRead && !earlier.local) {
        into.localUsageReadStatus = earlier.localUsageReadStatus;
    }
}

}  // namespace vantry::QuotaRefreshFallbackPolicy
