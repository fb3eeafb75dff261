#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "local/lineage/SessionKin.h"
#include "local/lineage/SessionUsageDeduplicator.h"

namespace vantry {

/// Requests that left a record count once in the whole home, whatever was copied where: in a log of
/// the thread that the record names, or else in the first log that holds a copy.
class RecordedRequests {
  public:
    /// All outlive this. One batch, one thread.
    RecordedRequests(const SessionKin& kin, const SessionFamilies& families, SessionDeltaMemo& memo)
        : kin_(kin), families_(families), memo_(memo) {}

    struct Split {
        std::vector<SessionUsageDelta> own;
        std::vector<SessionUsageDelta> borrowed;  ///< of threads whose own logs do not show them
    };

    /// What counts for a log of what it itself tells. Those of one thread are asked for in order.
    Split split(const LoadedSessionUsage& session, const EffectiveSessionUsage& usage);

    /// Between two families: nothing of one matters to the other.
    void forget();

  private:
    using Keys = std::unordered_set<std::uint64_t>;
    /// Requests that logs have claimed one after the other.
    struct Claims {
        std::size_t logCount = 0;  ///< the logs whose keys are here
        Keys keys;
    };
    using Logs = std::span<const LoadedSessionUsage* const>;

    void bringUpTo(Logs logs, const std::string* copiedThread, Claims& claims);
    bool isShownBy(const std::string& thread, std::uint64_t key);

    const SessionKin& kin_;
    const SessionFamilies& families_;
    SessionDeltaMemo& memo_;
    // By thread: what its own logs claimed, what copies elsewhere did, and all that its logs show.
    std::unordered_map<std::string, Claims> own_;
    std::unordered_map<std::string, Claims> copied_;
    std::unordered_map<std::string, Keys> shown_;
};

/// The events of a log that shares no request with any other: a record that it shows twice counts
/// once.
std::vector<SessionUsageDelta> withoutRepeatedRecords(std::vector<SessionUsageDelta> deltas);

}  // namespace vantry
