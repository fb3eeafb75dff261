#pragma once

#include <span>
#include <vector>

#include "local/cache/SessionUsageCache.h"

/// Two states of one log, or two copies of it, compared by the events that count.
namespace vantry::SessionVersions {

/// The events of a log as two versions of it are compared: the first reading of a counter that was
/// inherited stands for what its event says of itself.
std::vector<SessionUsageDelta> comparable(const SessionUsageCacheEntry& entry,
                                          std::span<const SessionUsageDelta> deltas);

/// Which events of `part` are told by `whole` too. Both are in the order of a log; a line that only
/// one of them has, or that is damaged in one, does not part the rest.
std::vector<bool> sharedEvents(std::span<const SessionUsageDelta> part,
                               std::span<const SessionUsageDelta> whole);

/// Whether `whole` tells all that `part` holds. A damaged entry holds nothing that could be missed,
/// and covers nothing.
bool isCovered(const SessionUsageCacheEntry& part, const SessionUsageCacheEntry& whole);

/// Which of two copies counts, and whether the other tells what it does not.
struct Choice {
    bool isSecond = false;
    bool partsFromOther = false;
};

/// The longer one: by events where one tells all of the other, else by bytes.
Choice longer(const KnownSession& first, const KnownSession& second, SessionUsageCache& cache);

}  // namespace vantry::SessionVersions
