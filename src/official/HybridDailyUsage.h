#pragma once

#include <optional>
#include <string>
#include <vector>

#include "records/LocalUsage.h"
#include "records/Notice.h"
#include "statistics/RuntimeLoadContext.h"

/// One history out of two sources: the account's days, counted by the service and without a split,
/// and the days of the local logs, with a split and a price but of this machine alone.
///
/// Today and yesterday in the statistics zone are the local ones where these were measured; every
/// day before is the service's. No day is the sum of both, so nothing is counted twice, and a day
/// of neither source is not known, which is not zero.
namespace vantry::CodexUsageReader {

struct CloudDailyUsageMerge {
    /// Absent: no history is known. An empty list is a history without a day.
    const std::optional<std::vector<DailyTokenBucket>>& cloudDailyBuckets;
    LocalUsage into;  ///< as it was read, or as an earlier merge left it
    const RuntimeLoadContext& context;
};

struct HybridDailyUsage {
    LocalUsage local;
    Notices messages;
};

/// Rebuilds what spans days: the trend, the daily buckets, the totals of seven days and the month,
/// and the height of the average curve. Hours, projects and models are of the local logs and stay.
/// Any thread.
HybridDailyUsage mergeCloudDailyUsage(CloudDailyUsageMerge merge);

}  // namespace vantry::CodexUsageReader
