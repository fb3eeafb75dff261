#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "local/LocalAnalyticsCache.h"

namespace vantry::CodexUsageReader {

/// Why a batch of session logs is not used. One reason refuses all of it: figures with a log left
/// out, or with a copy counted twice, would be wrong without looking wrong.
struct LocalAnalyticsRefusal {
    enum class Reason : std::uint8_t {
        parentChain,        ///< a thread is its own ancestor
        unreadableLogs,     ///< `count` of them
        unresolvedParents,  ///< `count` threads whose parent cannot be checked
        damagedCache,       ///< an entry does not hold what it says
    };
    Reason reason = Reason::damagedCache;
    std::size_t count = 0;

    /// What a user is told, with the last complete figures in place or without any.
    std::string message(bool hasFallback) const;
};

/// The last complete figures of the same day, marked stale and with their own capture time, or
/// nothing; as of `now` then.
LocalAnalyticsReadResult fallbackResult(const LocalAnalyticsCache& cache,
                                        const LocalAnalyticsDay& day, Date now);

}  // namespace vantry::CodexUsageReader
