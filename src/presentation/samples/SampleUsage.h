#pragma once

#include <cstdint>

#include "records/LocalUsage.h"
#include "records/TaskBoard.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

/// What the made-up figures are made of.
struct SampleScale {
    std::int64_t tokensOfDay = 1'200'000;  ///< of an ordinary day
    std::int64_t usedDays = 190;           ///< of the last half year
    bool hasLongNames = false;
};

/// Half a year of a user's days, with projects, tools, Skills and models.
LocalUsage sampleUsage(const SampleScale& scale, const StatisticsContext& statistics);

TaskBoard sampleTaskBoard(const SampleScale& scale, Date now);

/// The account's own days, without today.
std::vector<DailyTokenBucket> sampleOfficialDays(const SampleScale& scale,
                                                 const StatisticsContext& statistics);

}  // namespace vantry
