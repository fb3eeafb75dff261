#pragma once

#include <cstddef>
#include <string>

#include "local/cache/LocalAnalyticsCache.h"

/// A batch that has to wait for a log. Figures with a log left out would be wrong without looking
/// wrong.
namespace vantry::CodexUsageReader {

/// The last complete figures of the same day, marked stale and with their own capture time, or
/// nothing; as of `now` then.
LocalAnalyticsReadResult fallbackResult(const LocalAnalyticsCache& cache,
                                        const LocalAnalyticsDay& day, Date now);

}  // namespace vantry::CodexUsageReader
