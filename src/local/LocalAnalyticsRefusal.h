#pragma once

#include <cstddef>
#include <string>

#include "local/LocalAnalyticsCache.h"

/// A batch that has to wait for a log. Figures with a log left out would be wrong without looking
/// wrong.
namespace vantry::CodexUsageReader {

/// What a user is told of logs that cannot be read now, with the last complete figures in place or
/// without any.
std::string unreadableLogsMessage(std::size_t count, bool hasFallback);

/// The last complete figures of the same day, marked stale and with their own capture time, or
/// nothing; as of `now` then.
LocalAnalyticsReadResult fallbackResult(const LocalAnalyticsCache& cache,
                                        const LocalAnalyticsDay& day, Date now);

}  // namespace vantry::CodexUsageReader
