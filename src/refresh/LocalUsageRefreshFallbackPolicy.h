#pragma once

#include "records/LocalUsage.h"

/// Whether the local usage that is shown outlives a local read that failed.
namespace vantry::LocalUsageRefreshFallbackPolicy {

struct Statuses {
    LocalUsageReadStatus readStatus = LocalUsageReadStatus::notAttempted;
    LocalUsageReadStatus previousStatus = LocalUsageReadStatus::notAttempted;
    bool sameStatisticsDay = false;
};

constexpr bool mayReusePrevious(const Statuses& statuses) {
    return statuses.readStatus == LocalUsageReadStatus::unavailable && statuses.sameStatisticsDay &&
           (statuses.previousStatus == LocalUsageReadStatus::complete ||
            statuses.previousStatus == LocalUsageReadStatus::staleFallback);
}

/// Whether the read has less than what is shown: nothing, or the threads without their tokens.
inline bool hasLess(const std::optional<LocalUsage>& read, const LocalUsage& shown) {
    return !read || (!read->detailedUsage && shown.detailedUsage);
}

}  // namespace vantry::LocalUsageRefreshFallbackPolicy
