#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "local/SessionDeltaMemo.h"
#include "local/SessionUsageCacheEntry.h"
#include "local/ThreadIndex.h"

namespace vantry {

/// One thread with what its log holds. Both lie with the batch's owner and outlive this.
struct LoadedSessionUsage {
    const SessionUsageSource& source;
    const SessionUsageCacheEntry& entry;
};

/// The threads of a batch; the sessions outlive the map.
using SessionsByThreadId = std::map<std::string, const LoadedSessionUsage*>;

/// What a thread itself used, without what its log copied or inherited from its parents.
struct EffectiveSessionUsage {
    std::shared_ptr<const std::vector<SessionUsageDelta>> owner;  ///< holds what `deltas` views
    std::span<const SessionUsageDelta> deltas;
    std::map<std::string, std::int64_t> toolCalls;
    std::vector<SkillLoadEvent> skillLoads;
    /// A parent could not be checked: nothing was taken off, and the figures overstate.
    bool unresolvedParent = false;
    std::int64_t rejectedFutureDeltaCount = 0;
};

namespace SessionUsageDeduplicator {

struct Comparison {
    std::span<const SessionUsageDelta> child;
    std::span<const SessionUsageDelta> parent;
    std::optional<Date> spawnedAt;
};

/// How many leading deltas of the child are copies of the parent's: equal one by one, or one that
/// sums up many followed by equal ones. A copy carries the time of the copying, within a second
/// after the spawn.
std::size_t copiedPrefixCount(const Comparison& comparison);

}  // namespace SessionUsageDeduplicator

namespace CodexUsageReader {

/// Whether a parent is named that the batch does not have, or none is named where one must be.
bool sessionUsageHasUnresolvedParent(const LoadedSessionUsage& session,
                                     const SessionsByThreadId& sessions);

/// What the session itself used. Nothing for a damaged entry, a circle of parents or an ancestor
/// that could not be checked. One thread per memo.
std::optional<EffectiveSessionUsage> effectiveSessionUsage(const LoadedSessionUsage& session,
                                                           const SessionsByThreadId& sessions,
                                                           SessionDeltaMemo& memo);

/// The conversation at the root of a thread's parents, as far as they are loaded.
const SessionUsageSource& rootConversationSource(const LoadedSessionUsage& session,
                                                 const SessionsByThreadId& sessions);

}  // namespace CodexUsageReader

namespace SessionUsageAncestorReleasePlan {

/// For each position in the list, the threads that nobody after it needs.
std::map<std::size_t, std::vector<std::string>> releases(
    const std::vector<std::string>& threadIDs,
    const std::map<std::string, std::vector<std::string>>& parentsByThreadID);

}  // namespace SessionUsageAncestorReleasePlan

}  // namespace vantry
