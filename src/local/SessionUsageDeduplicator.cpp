#include "local/SessionUsageDeduplicator.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_set>

#include "local/InheritedCounter.h"

namespace vantry {

namespace SessionUsageDeduplicator {

namespace {

constexpr double copyWindow = 1.0;  // seconds after the spawn

bool isCopyTime(Date date, Date spawnedAt) {
    return date >= spawnedAt && date <= spawnedAt + copyWindow;
}

std::size_t exactCopyCount(const Comparison& comparison) {
    const auto& [child, parent, spawnedAt] = comparison;
    const std::size_t most = std::min(child.size(), parent.size());
    std::size_t count = 0;
    while (count < most && child[count].tokens == parent[count].tokens &&
           (!spawnedAt ||
            (isCopyTime(child[count].date, *spawnedAt) && parent[count].date <= *spawnedAt))) {
        ++count;
    }
    return count;
}

// How many leading deltas of the parent add up to the child's first; 0 if none do.
std::size_t coveredByFirst(const Comparison& comparison) {
    TokenBreakdown sum;
    for (std::size_t i = 0; i < comparison.parent.size(); ++i) {
        if (!(comparison.parent[i].date <= *comparison.spawnedAt)) return 0;
        sum.add(comparison.parent[i].tokens);
        if (sum == comparison.child[0].tokens) return i + 1;
    }
    return 0;
}

}  // namespace

std::size_t copiedPrefixCount(const Comparison& comparison) {
    if (const std::size_t exact = exactCopyCount(comparison)) return exact;
    const auto& [child, parent, spawnedAt] = comparison;
    if (!spawnedAt || child.empty() || !isCopyTime(child[0].date, *spawnedAt)) return 0;
    const std::size_t covered = coveredByFirst(comparison);
    if (covered == 0) return 0;
    return 1 + exactCopyCount({.child = child.subspan(1),
                               .parent = parent.subspan(covered),
                               .spawnedAt = spawnedAt});
}

}  // namespace SessionUsageDeduplicator

namespace CodexUsageReader {

namespace {

using Proofs = std::unordered_set<std::uint64_t>;

std::optional<std::string> parentOf(const LoadedSessionUsage& session) {
    return session.entry.lineage ? session.entry.lineage->parentThreadId : std::nullopt;
}

// What a session shares with its ancestors.
struct Inheritance {
    std::size_t copiedPrefix = 0;
    Proofs toolCalls;
};

using SharedDeltas = std::shared_ptr<const std::vector<SessionUsageDelta>>;

// Adds what a thread's history holds before that line: what it inherited, and then its own.
bool appendHistory(const LoadedSessionUsage& session, std::int64_t endOrdinalExclusive,
                   const SessionsByThreadId& sessions, SessionDeltaMemo& memo,
                   std::vector<SessionUsageDelta>& history) {
    const SessionUsageCacheEntry& entry = session.entry;
    const auto accepted = memo.accepted(session.source.threadId, entry);
    const auto trail = entry.readingTrail.decoded(entry.deltaCount());
    const auto cost = InheritedCounter::firstCost(session, sessions, memo);
    if (!accepted || !trail || !cost) return false;
    // A counter with a start of its own inherited nothing; any other was traced to its ancestors.
    const bool inherits = entry.lineage && entry.lineage->historyBase && entry.firstReading &&
                          *cost != entry.firstReading->total;
    if (inherits) {
        const SessionHistoryBase& base = *entry.lineage->historyBase;
        const std::int64_t end = std::min(base.endOrdinalExclusive, endOrdinalExclusive);
        if (!appendHistory(*sessions.at(base.threadId), end, sessions, memo, history)) return false;
    }
    for (std::size_t i = 0; i < accepted->deltas->size(); ++i) {
        if (trail->ordinals[i] >= endOrdinalExclusive) break;
        SessionUsageDelta delta = (*accepted->deltas)[i];
        if (i == 0 && inherits && delta.tokens == entry.firstReading->total) delta.tokens = *cost;
        if (!delta.tokens.isZero()) history.push_back(std::move(delta));
    }
    return true;
}

// What a copy of an ancestor's log can hold: its deltas, and before them what it inherited.
std::optional<SharedDeltas> historyOf(const LoadedSessionUsage& ancestor,
                                      const SessionsByThreadId& sessions, SessionDeltaMemo& memo) {
    if (!ancestor.entry.lineage || !ancestor.entry.lineage->historyBase) {
        const auto accepted = memo.accepted(ancestor.source.threadId, ancestor.entry);
        return accepted ? std::optional(accepted->deltas) : std::nullopt;
    }
    std::vector<SessionUsageDelta> history;
    if (!appendHistory(ancestor, INT64_MAX, sessions, memo, history)) return std::nullopt;
    return std::make_shared<const std::vector<SessionUsageDelta>>(std::move(history));
}

// Walks up the parents. Nothing for a circle, or an ancestor that cannot be read or checked.
std::optional<Inheritance> inheritance(const LoadedSessionUsage& session,
                                       std::span<const SessionUsageDelta> deltas,
                                       const SessionsByThreadId& sessions, SessionDeltaMemo& memo) {
    Inheritance result;
    const bool copiesNothing = session.entry.lineage->historyBase.has_value();
    std::set<std::string> visited{session.source.threadId};
    for (auto parent = parentOf(session); parent;) {
        const auto found = sessions.find(*parent);
        if (found == sessions.end() || !visited.insert(*parent).second) return std::nullopt;
        const LoadedSessionUsage& ancestor = *found->second;
        if (sessionUsageHasUnresolvedParent(ancestor, sessions)) return std::nullopt;
        if (!copiesNothing) {
            const auto history = historyOf(ancestor, sessions, memo);
            if (!history) return std::nullopt;
            result.copiedPrefix =
                std::max(result.copiedPrefix, SessionUsageDeduplicator::copiedPrefixCount(
                                                  {.child = deltas,
                                                   .parent = **history,
                                                   .spawnedAt = session.entry.lineage->spawnedAt}));
        }
        if (!session.entry.toolCallProofs.byName.empty()) {
            ancestor.entry.toolCallProofs.forEach(
                [&](const std::string&, std::uint64_t proof) { result.toolCalls.insert(proof); });
        }
        parent = parentOf(ancestor);
    }
    return result;
}

void removeCopiedCalls(const Proofs& copied, const SessionUsageCacheEntry& entry,
                       EffectiveSessionUsage& usage) {
    entry.toolCallProofs.forEach([&](const std::string& name, std::uint64_t proof) {
        const auto count = usage.toolCalls.find(name);
        if (!copied.contains(proof) || count == usage.toolCalls.end()) return;
        if (--count->second <= 0) usage.toolCalls.erase(count);
    });
    std::erase_if(usage.skillLoads, [&](const SkillLoadEvent& load) {
        return load.toolCallIdentity &&
               copied.contains(SessionToolCallProofs::proof(*load.toolCallIdentity));
    });
}

// The first event of the log counts with what it cost, and not with all that the counter shows.
void replaceFirst(const SessionFirstReading& first, const TokenBreakdown& cost,
                  EffectiveSessionUsage& usage) {
    if (usage.deltas.empty() || usage.deltas[0].tokens != first.total) return;
    auto own =
        std::make_shared<std::vector<SessionUsageDelta>>(usage.deltas.begin(), usage.deltas.end());
    own->front().tokens = cost;
    if (cost.isZero()) own->erase(own->begin());
    usage.deltas = *own;
    usage.owner = std::move(own);
}

}  // namespace

bool sessionUsageHasUnresolvedParent(const LoadedSessionUsage& session,
                                     const SessionsByThreadId& sessions) {
    if (const auto parent = parentOf(session)) {
        return *parent == session.source.threadId || !sessions.contains(*parent);
    }
    return session.source.isSubagent && !session.source.allowsMissingParentLineage;
}

std::optional<EffectiveSessionUsage> effectiveSessionUsage(const LoadedSessionUsage& session,
                                                           const SessionsByThreadId& sessions,
                                                           SessionDeltaMemo& memo) {
    const SessionUsageCacheEntry& entry = session.entry;
    const auto accepted = memo.accepted(session.source.threadId, entry);
    if (!accepted) return std::nullopt;
    EffectiveSessionUsage usage{.owner = accepted->deltas,
                                .deltas = *accepted->deltas,
                                .toolCalls = entry.toolCalls,
                                .skillLoads = entry.skillLoads,
                                .rejectedFutureDeltaCount = accepted->rejectedCount};
    const auto firstCost = InheritedCounter::firstCost(session, sessions, memo);
    usage.unresolvedParent = !firstCost || sessionUsageHasUnresolvedParent(session, sessions);
    if (usage.unresolvedParent) return usage;
    if (parentOf(session)) {
        const auto shared = inheritance(session, usage.deltas, sessions, memo);
        if (!shared) return std::nullopt;
        usage.deltas = usage.deltas.subspan(shared->copiedPrefix);
        removeCopiedCalls(shared->toolCalls, entry, usage);
    }
    if (entry.lineage && entry.lineage->historyBase && entry.firstReading) {
        replaceFirst(*entry.firstReading, *firstCost, usage);
    }
    return usage;
}

const SessionUsageSource& rootConversationSource(const LoadedSessionUsage& session,
                                                 const SessionsByThreadId& sessions) {
    const LoadedSessionUsage* root = &session;
    std::set<std::string> visited{session.source.threadId};
    for (auto parent = parentOf(*root); parent && visited.insert(*parent).second;
         parent = parentOf(*root)) {
        const auto found = sessions.find(*parent);
        if (found == sessions.end()) break;
        root = found->second;
    }
    return root->source;
}

}  // namespace CodexUsageReader

std::map<std::size_t, std::vector<std::string>> SessionUsageAncestorReleasePlan::releases(
    const std::vector<std::string>& threadIDs,
    const std::map<std::string, std::vector<std::string>>& parentsByThreadID) {
    std::map<std::string, std::size_t> lastUse;
    for (std::size_t position = 0; position < threadIDs.size(); ++position) {
        std::set<std::string> visited;
        std::vector<std::string> waiting{threadIDs[position]};
        while (!waiting.empty()) {
            const std::string thread = std::move(waiting.back());
            waiting.pop_back();
            if (!visited.insert(thread).second) continue;
            lastUse[thread] = position;
            const auto parents = parentsByThreadID.find(thread);
            if (parents == parentsByThreadID.end()) continue;
            waiting.insert(waiting.end(), parents->second.begin(), parents->second.end());
        }
    }
    std::map<std::size_t, std::vector<std::string>> releases;
    for (const auto& [thread, position] : lastUse) releases[position].push_back(thread);
    return releases;
}

}  // namespace vantry
