#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "local/SessionFamilies.h"

namespace vantry {

/// Requests that left a record count once in the whole home, whatever was copied where: in a log of
/// the thread that the record names, or else in the first log that holds a copy.
class RecordedRequests {
  public:
    /// Looks through the logs that hold copies; the sessions outlive this.
    explicit RecordedRequests(std::span<const LoadedSessionUsage> sessions);

    /// Whether a record counts in the log that shows it; each counts for one log alone.
    bool claim(const SessionUsageDelta& record, const LoadedSessionUsage& session);

  private:
    bool claimOwn(std::uint64_t key, const LoadedSessionUsage& session);

    std::unordered_set<std::uint64_t> copied_;  ///< that no log of their own thread shows
    std::set<std::string> threadsOfSeveralLogs_;
    std::map<std::string, std::unordered_set<std::uint64_t>> claimedByThread_;
    const LoadedSessionUsage* last_ = nullptr;
    std::unordered_set<std::uint64_t> claimedInLast_;
};

}  // namespace vantry
