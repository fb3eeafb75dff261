#pragma once

#include "records/LocalUsage.h"
#include "records/StatisticsIdentity.h"

namespace vantry {

/// Whether two batches count the same day of the same zone. The same moment in two zones never is.
bool sameStatisticsDay(const StatisticsIdentity& previous, const StatisticsIdentity& incoming);

/// The local usage of an earlier day as far as it holds on a later one.
///
/// Today's and the last days' figures ended with their day and are not known for the new one, which
/// is not zero: the totals of today and seven days, the split, the trend and the project board go.
/// What stays names its own days or counts all time.
LocalUsage withoutDayBoundFigures(LocalUsage usage);

}  // namespace vantry
