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
    /// and is not kept; of too many zones the one that was used longest ago goes.
    void store(const MultiRuntimeUsageSnapshot& batch, Date now);

    struct Lookup {
        const std::string& resolvedIdentifier;
        const RuntimeUsageSnapshot* published = nullptr;  ///< the Codex runtime; may be null
        Date now;
    };
    /// The zone's batch if it is of this day, recent, and of the account and the official figures
    /// that are shown. One that is not, is dropped.
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
