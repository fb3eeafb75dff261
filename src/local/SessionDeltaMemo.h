#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "local/SessionLineParser.h"
#include "local/SessionUsageCacheEntry.h"

namespace vantry {

/// The counter's readings of one log, by line number.
struct SessionReadings {
    struct Reading {
        std::int64_t ordinal = 0;
        TokenBreakdown total;
    };
    std::vector<Reading> readings;  ///< ordinals never fall

    /// Those on lines before that number.
    std::span<const Reading> before(std::int64_t endOrdinalExclusive) const;
};

/// Decoded logs that a batch needs more than once: a parent with hundreds of children is decoded
/// once. Belongs to one batch and one thread.
class SessionDeltaMemo {
  public:
    using Deltas = std::shared_ptr<const std::vector<SessionUsageDelta>>;

    /// The deltas of an entry, which stays where it is; null for a damaged entry.
    Deltas deltas(const SessionUsageCacheEntry& entry);

    /// The readings of an entry; null for a damaged entry.
    const SessionReadings* readings(const SessionUsageCacheEntry& entry);

    /// What somebody found that a copy of this entry's log can hold; null until it is told.
    Deltas& history(const SessionUsageCacheEntry& entry) { return histories_[&entry]; }

    /// Forgets an entry. What somebody still holds lives on.
    void release(const SessionUsageCacheEntry& entry);

  private:
    std::map<const SessionUsageCacheEntry*, Deltas> deltas_;
    std::map<const SessionUsageCacheEntry*, Deltas> histories_;
    std::map<const SessionUsageCacheEntry*, SessionReadings> readings_;
};

}  // namespace vantry
