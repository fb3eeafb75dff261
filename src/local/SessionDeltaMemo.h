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
    /// Events after `now` are left out of accepted deltas; all stay without a `now`.
    explicit SessionDeltaMemo(std::optional<Date> now) : now_(now) {}

    struct Accepted {
        std::shared_ptr<const std::vector<SessionUsageDelta>> deltas;
        std::int64_t rejectedCount = 0;
    };

    /// The accepted deltas of a thread's entry; nothing for a damaged entry.
    std::optional<Accepted> accepted(const std::string& threadId,
                                     const SessionUsageCacheEntry& entry);

    /// The readings of a thread's entry; null for a damaged entry.
    const SessionReadings* readings(const std::string& threadId,
                                    const SessionUsageCacheEntry& entry);

    /// Forgets a thread. What somebody still holds lives on.
    void release(const std::string& threadId);

  private:
    std::optional<Date> now_;
    std::map<std::string, Accepted> accepted_;
    std::map<std::string, SessionReadings> readings_;
};

}  // namespace vantry
