#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// The last complete batches by statistics zone, so that a switch of the zone need not wait for a
/// read. A plain value of one thread.
class StatisticsSnapshotCache {
  public:
    static constexpr std::size_t limit = 4;      ///< zones
    static constexpr double timeToLive = 180.0;  ///< seconds

    /// Keeps the batch as that of its zone. One of an unknown account could not be checked later
    /// and is not kept. If there are too many zones, the least recently used one is dropped.
    void store(const MultiRuntimeUsageSnapshot& batch, Date now);

    struct Lookup {
        const std::string& resolvedIdentifier;
        const RuntimeUsageSnapshot* published = nullptr;  ///< the Codex runtime; may be null
        Date now;
    };
    /// The zone's batch if it is recent, and its day, account and official figures are those that
    /// are shown. It is dropped otherwise.
    std::optional<MultiRuntimeUsageSnapshot> validSnapshot(const Lookup& lookup);

    void clear() { entries_.clear(); }

    bool contains(const std::string& resolvedIdentifier) const;

  private:
    struct Entry {
        std::string resolvedIdentifier;
        MultiRuntimeUsageSnapshot snapshot;
        Date cachedAt;
        std::string dayKey;
    };

    static bool isValid(const Entry& entry, const Lookup& lookup);

    std::vector<Entry> entries_;  ///< used longest ago first
};

}  // namespace vantry
