#pragma once

#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "local/SessionUsageCacheEntry.h"
#include "local/ThreadIndex.h"

namespace vantry {

/// One log of a batch: a segment of its thread. Source and entry lie with the batch's owner and
/// outlive this.
struct LoadedSessionUsage {
    const SessionUsageSource& source;
    const SessionUsageCacheEntry& entry;
    std::string segmentId;  ///< the name by which other logs speak of it
    bool isGone = false;    ///< counted before, and no longer there

    const SessionUsageLineage& lineage() const { return *entry.lineage; }
};

/// The logs of a batch by their names. Several logs can stand under one name: segments of a thread,
/// and what is kept of a log beside the log itself, which then stands first.
class SessionFamilies {
  public:
    using Logs = std::vector<const LoadedSessionUsage*>;

    /// The sessions outlive this.
    explicit SessionFamilies(std::span<const LoadedSessionUsage> sessions);

    const Logs& ofThread(const std::string& threadId) const { return find(byThread_, threadId); }
    const Logs& ofSegment(const std::string& segmentId) const {
        return find(bySegment_, segmentId);
    }

    /// The logs that this one goes on from or may have copied.
    Logs parentsOf(const LoadedSessionUsage& session) const;

  private:
    static const Logs& find(const std::map<std::string, Logs>& logs, const std::string& name);

    std::map<std::string, Logs> byThread_;
    std::map<std::string, Logs> bySegment_;
};

/// The positions of the logs that are their own ancestors, by whatever way.
std::set<std::size_t> sessionsInParentCycles(std::span<const LoadedSessionUsage> sessions);

}  // namespace vantry
