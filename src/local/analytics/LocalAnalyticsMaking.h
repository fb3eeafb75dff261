#pragma once

#include "local/analytics/SessionAggregation.h"
#include "local/cache/LocalAnalytics.h"
#include "statistics/StatisticsWindows.h"

namespace vantry::CodexUsageReader {

/// The records of a batch from its sums; all but the Skills, whose files are looked at apart.
LocalAnalytics makeLocalAnalytics(const SessionAggregation& aggregation,
                                  const StatisticsContext& statistics,
                                  const StatisticsWindows& windows);

}  // namespace vantry::CodexUsageReader
