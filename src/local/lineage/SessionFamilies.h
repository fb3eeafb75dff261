#pragma once

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "local/cache/SessionUsageCache.h"
#include "local/index/ThreadIndex.h"

namespace vantry {

/// One log of a batch: a segment of its thread. Source and log lie with the batch's owner and
/// outlive this.
struct LoadedSessionUsage {
    const SessionUsageSource& source;
    KnownSession& known;    ///< as the cache knows it
    std::string segmentId;  ///< the name by which other logs speak of it
    bool isGone = false;    ///< counted before, and no longer there

    const SessionHead& head() const { return known.head; }
    const SessionUsageLineage& lineage() const { return known.head.lineage; }
};

/// The logs of a batch by their names. Several logs can stand under one name: segments of a thread,
/// and what is kept of a log beside the log itself, which then stands first.
class SessionFamilies {
  public:
    using Logs = std::vector<const LoadedSessionUsage*>;

    /// The sessions outlive this, and stay what they are.
    explicit SessionFamilies(std::span<const LoadedSessionUsage> sessions);

    const Logs& ofThread(const std::string& threadId) const { return find(byThread_, threadId); }
    const Logs& ofSegment(const std::string& segmentId) const {
        return find(bySegment_, segmentId);
    }

    /// The logs that this one goes on from or may have copied.
    const Logs& parentsOf(const LoadedSessionUsage& session) const;

  private:
    using LogsByName = std::unordered_map<std::string_view, Logs>;  ///< names lie in the sessions

    static const Logs& find(const LogsByName& logs, const std::string& name);

    LogsByName byThread_;
    LogsByName bySegment_;
};

/// The positions of the logs that are their own ancestors, by whatever way.
std::set<std::size_t> sessionsInParentCycles(std::span<const LoadedSessionUsage> sessions,
                                             const SessionFamilies& families);

}  // namespace vantry
