#pragma once

#include <memory>

#include "local/analytics/SessionAggregation.h"
#include "local/cache/LocalAnalytics.h"

namespace vantry::CodexUsageReader {

struct SessionSumRequest {
    const LoadedSessions& loaded;  ///< with shares that were brought up to date
    SessionUsageCache& cache;
    const LocalAnalyticsDay& day;
    const StatisticsContext& statistics;
    const StatisticsWindows& windows;
    Date cutoff;
};

struct SessionSums {
    std::unique_ptr<SessionAggregation> aggregation;  ///< never null
    LocalUsageGaps gaps;                              ///< what adding up found
    bool isWhole = true;  ///< false where the share of a log could not be had
};

/// Adds up what all logs add. What threads add that did not change lately is kept as one sum of the
/// day and zone, so that a change costs the logs of its own thread; the first change of a thread
/// that lay still for days costs a visit of all shares. Blocks; one thread.
SessionSums addUpShares(const SessionSumRequest& request);

}  // namespace vantry::CodexUsageReader
