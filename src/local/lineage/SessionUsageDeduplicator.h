#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "local/lineage/SessionDeltaMemo.h"
#include "local/lineage/SessionFamilies.h"

namespace vantry {

/// What a log itself tells, without what it copied or inherited from its parents.
struct EffectiveSessionUsage {
    std::shared_ptr<const std::vector<SessionUsageDelta>> owner;  ///< holds what `deltas` views
    std::span<const SessionUsageDelta> deltas;
    std::map<std::string, std::int64_t> toolCalls;
    std::vector<SkillLoadEvent> skillLoads;
    /// A parent could not be checked: what may be a copy of its history was left out.
    bool isWithoutParent = false;
    /// Puts other events in the place of those it has.
    void take(std::vector<SessionUsageDelta> events) {
        owner = std::make_shared<const std::vector<SessionUsageDelta>>(std::move(events));
        deltas = *owner;
    }
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

/// Whether a log that copies its history has no parent in the batch that it could be compared with.
bool sessionUsageHasUnresolvedParent(const LoadedSessionUsage& session,
                                     const SessionFamilies& families);

/// What the session itself tells, events of the future too. Nothing for a damaged entry. Records of
/// requests still stand in every log that holds a copy. One thread per memo.
std::optional<EffectiveSessionUsage> effectiveSessionUsage(const LoadedSessionUsage& session,
                                                           const SessionFamilies& families,
                                                           SessionDeltaMemo& memo);

/// The conversation at the root of a thread's parents, as far as they are loaded.
const SessionUsageSource& rootConversationSource(const LoadedSessionUsage& session,
                                                 const SessionFamilies& families);

}  // namespace CodexUsageReader

}  // namespace vantry
