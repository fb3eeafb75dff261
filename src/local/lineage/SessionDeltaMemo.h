#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "local/lineage/SessionFamilies.h"

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

/// The entries of logs that a batch needs, loaded and decoded once: a parent can have hundreds of
/// children. Belongs to one batch and one thread.
class SessionDeltaMemo {
  public:
    using Entry = std::shared_ptr<const SessionUsageCacheEntry>;
    using Deltas = std::shared_ptr<const std::vector<SessionUsageDelta>>;
    using Load = std::function<Entry(const LoadedSessionUsage&)>;

    explicit SessionDeltaMemo(Load load) : load_(std::move(load)) {}

    /// All of these are null for a log whose bytes cannot be had, and stay until it is released.
    const SessionUsageCacheEntry* entry(const LoadedSessionUsage& session);
    Deltas deltas(const LoadedSessionUsage& session);
    const SessionReadings* readings(const LoadedSessionUsage& session);

    /// Whether bytes of the log were asked for and could not be had.
    bool isMissing(const LoadedSessionUsage& session) const {
        const auto log = logs_.find(&session);
        return log != logs_.end() && log->second.isLoaded && log->second.entry == nullptr;
    }

    /// What somebody found that a copy of this log can hold; null until it is told.
    Deltas& history(const LoadedSessionUsage& session) { return logs_[&session].history; }

    /// Forgets a log. What somebody still holds lives on.
    void release(const LoadedSessionUsage& session) { logs_.erase(&session); }

  private:
    struct Log {
        bool isLoaded = false;
        Entry entry;
        Deltas deltas;
        Deltas history;
        std::optional<SessionReadings> readings;
    };

    Load load_;
    std::unordered_map<const LoadedSessionUsage*, Log> logs_;
};

}  // namespace vantry
