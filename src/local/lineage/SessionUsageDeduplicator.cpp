#include "local/lineage/SessionUsageDeduplicator.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_set>

#include "local/cache/SessionVersions.h"
#include "local/lineage/InheritedCounter.h"

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
using Deltas = std::vector<SessionUsageDelta>;

// The first event of the log counts with what it cost, and not with all that the counter shows.
void replaceFirst(const SessionUsageCacheEntry& entry, const TokenBreakdown& cost,
                  EffectiveSessionUsage& usage) {
    const SessionFirstReading& first = *entry.firstReading;
    const auto place = std::ranges::find_if(usage.deltas, [&](const SessionUsageDelta& delta) {
        return !delta.isRecord() && delta.tokens == first.total;
    });
    if (place == usage.deltas.end() || place - usage.deltas.begin() > *first.deltaIndex) return;
    const auto at = place - usage.deltas.begin();
    Deltas deltas(usage.deltas.begin(), usage.deltas.end());
    deltas[static_cast<std::size_t>(at)].tokens = cost;
    if (cost.isZero()) deltas.erase(deltas.begin() + at);
    usage.take(std::move(deltas));
}

bool inheritsCounter(const SessionUsageCacheEntry& entry) {
    const auto& first = entry.firstReading;
    return entry.lineage->historyBase && first && first->deltaIndex;
}

// Adds what a log itself holds before that line.
void appendOwn(const LoadedSessionUsage& session, std::int64_t endOrdinalExclusive,
               const SessionFamilies& families, SessionDeltaMemo& memo, Deltas& history) {
    const SessionUsageCacheEntry* entry = memo.entry(session);
    const auto deltas = memo.deltas(session);
    if (!deltas) return;
    const auto trail = entry->readingTrail.decoded(entry->deltaCount());
    if (!trail) return;
    for (std::size_t i = 0; i < deltas->size(); ++i) {
        if (trail->ordinals[i] >= endOrdinalExclusive) break;
        SessionUsageDelta delta = (*deltas)[i];
        if (inheritsCounter(*entry) &&
            static_cast<std::int64_t>(i) == entry->firstReading->deltaIndex) {
            delta.tokens = InheritedCounter::firstCost(session, families, memo).tokens;
        }
        if (!delta.tokens.isZero()) history.push_back(std::move(delta));
    }
}

// What a copy of an ancestor's log can hold: its deltas, and before them what it inherited.
SessionDeltaMemo::Deltas historyOf(const LoadedSessionUsage& ancestor,
                                   const SessionFamilies& families, SessionDeltaMemo& memo) {
    if (!ancestor.lineage().historyBase) return memo.deltas(ancestor);
    SessionDeltaMemo::Deltas& known = memo.history(ancestor);
    if (known != nullptr) return known;
    struct Link {
        const LoadedSessionUsage* log;
        std::int64_t endOrdinalExclusive;
    };
    std::vector<Link> chain{{&ancestor, INT64_MAX}};
    std::set<const LoadedSessionUsage*> visited{&ancestor};
    while (true) {
        const auto& base = chain.back().log->lineage().historyBase;
        const auto& bases = families.parentsOf(*chain.back().log);
        if (!base || bases.empty() || !visited.insert(bases.front()).second) break;
        chain.push_back(
            {bases.front(), std::min(base->endOrdinalExclusive, chain.back().endOrdinalExclusive)});
    }
    auto history = std::make_shared<Deltas>();
    std::ranges::reverse(chain);
    for (const Link& link : chain) {
        appendOwn(*link.log, link.endOrdinalExclusive, families, memo, *history);
    }
    known = std::move(history);
    return known;
}

// The logs of a thread that another one can have copied: of its segments the newest one that was
// there at the time.
std::vector<const LoadedSessionUsage*> copiedLogs(const SessionFamilies::Logs& logs,
                                                  std::optional<Date> copiedAt) {
    const LoadedSessionUsage* newest = nullptr;
    for (const LoadedSessionUsage* log : logs) {
        const auto& begun = log->lineage().spawnedAt;
        if (copiedAt && begun && *begun > *copiedAt) continue;
        if (newest == nullptr || newest->lineage().spawnedAt < begun) newest = log;
    }
    std::vector<const LoadedSessionUsage*> copied;
    for (const LoadedSessionUsage* log : logs) {
        if (newest == nullptr || log->segmentId == newest->segmentId) copied.push_back(log);
    }
    return copied;
}

/// What a session shares with its ancestors.
struct Inheritance {
    std::size_t copiedPrefix = 0;
    Proofs toolCalls;
};

// Walks up the parents as far as they are known.
Inheritance inheritance(const LoadedSessionUsage& session,
                        std::span<const SessionUsageDelta> deltas, const SessionFamilies& families,
                        SessionDeltaMemo& memo) {
    Inheritance result;
    const bool hasCalls = !memo.entry(session)->toolCallProofs.byName.empty();
    const bool copiesNothing = session.lineage().historyBase.has_value();
    std::set<std::string> visited{session.source.threadId};
    for (auto parent = session.lineage().parentThreadId;
         parent && visited.insert(*parent).second;) {
        const auto& ancestors = families.ofThread(*parent);
        if (!copiesNothing) {
            for (const auto* ancestor : copiedLogs(ancestors, session.lineage().spawnedAt)) {
                const auto history = historyOf(*ancestor, families, memo);
                if (history == nullptr) continue;
                result.copiedPrefix =
                    std::max(result.copiedPrefix, SessionUsageDeduplicator::copiedPrefixCount(
                                                      {.child = deltas,
                                                       .parent = *history,
                                                       .spawnedAt = session.lineage().spawnedAt}));
            }
        }
        for (const LoadedSessionUsage* ancestor : ancestors) {
            const SessionUsageCacheEntry* entry = hasCalls ? memo.entry(*ancestor) : nullptr;
            if (entry == nullptr) continue;
            entry->toolCallProofs.forEach(
                [&](const std::string&, std::uint64_t proof) { result.toolCalls.insert(proof); });
        }
        if (ancestors.empty()) break;
        parent = ancestors.front()->lineage().parentThreadId;
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

/// Whose the growth of a counter is, in a log that copies its history.
class CopiedGrowth {
  public:
    CopiedGrowth(const SessionUsageCacheEntry& entry, std::span<const SessionUsageDelta> deltas)
        : lineage_(*entry.lineage), behindCopies_(deltas.size()) {
        if (lineage_.ownFromOrdinal) trail_ = entry.readingTrail.decoded(entry.deltaCount());
        while (behindCopies_ > 0 && !deltas[behindCopies_ - 1].recordThread) --behindCopies_;
    }

    /// Whether it was surely copied: a turn older than the thread, written when the thread began.
    /// A clock that was set back makes later turns look old.
    bool isCopied(const SessionUsageDelta& delta) const {
        constexpr double longestCopy = 60;  // seconds
        return delta.turnOrigin == SessionTurnOrigin::copied &&
               !(lineage_.spawnedAt && delta.date > *lineage_.spawnedAt + longestCopy);
    }

    /// Whether it surely is the log's own, though there is no parent to compare it with.
    bool isOwn(const SessionUsageDelta& delta, std::size_t at) const {
        constexpr double copyTime = 1.0;  // seconds
        if (delta.turnOrigin == SessionTurnOrigin::own) return true;
        if (isCopied(delta)) return false;
        if (at < behindCopies_) return false;  // a request of another thread comes later
        if (trail_) return trail_->ordinals[at] >= *lineage_.ownFromOrdinal;
        return lineage_.spawnedAt && delta.date > *lineage_.spawnedAt + copyTime;
    }

  private:
    const SessionUsageLineage& lineage_;
    std::optional<SessionReadingTrail> trail_;
    std::size_t behindCopies_;
};

// Leaves out what a log copied, as far as its parents show it, and what it surely or, without a
// parent, possibly copied besides. Records say themselves whose they are.
void leaveOutCopies(const SessionUsageCacheEntry& entry, std::size_t copied, bool lacksParent,
                    EffectiveSessionUsage& usage) {
    const CopiedGrowth growth(entry, usage.deltas);
    Deltas own;
    for (std::size_t i = copied; i < usage.deltas.size(); ++i) {
        const SessionUsageDelta& delta = usage.deltas[i];
        const bool isOwn =
            delta.isRecord() || (lacksParent ? growth.isOwn(delta, i) : !growth.isCopied(delta));
        if (isOwn) own.push_back(delta);
        // The time of an event makes it likely to be the log's own, and no more.
        const bool isLikely =
            lacksParent && !delta.isRecord() && delta.turnOrigin != SessionTurnOrigin::own;
        if (!isOwn || isLikely) usage.isWithoutParent = true;
    }
    if (own.size() < usage.deltas.size()) usage.take(std::move(own));
}

// What was kept of a log counts beside the log as far as the log does not tell it: which events an
// earlier version tells. None where there is no other version. Its calls are added to `calls`.
std::vector<bool> toldByOtherVersions(const LoadedSessionUsage& session,
                                      const SessionFamilies& families, SessionDeltaMemo& memo,
                                      std::span<const SessionUsageDelta> deltas, Proofs& calls) {
    using namespace SessionVersions;
    std::vector<bool> told;
    const SessionUsageCacheEntry& entry = *memo.entry(session);
    for (const LoadedSessionUsage* version : families.ofSegment(session.segmentId)) {
        if (version == &session) break;  // those behind leave this one out
        const auto other = memo.deltas(*version);
        if (other == nullptr) continue;
        const SessionUsageCacheEntry& otherEntry = *memo.entry(*version);
        const auto shared = sharedEvents(comparable(entry, deltas), comparable(otherEntry, *other));
        told.resize(shared.size());
        for (std::size_t i = 0; i < shared.size(); ++i) told[i] = told[i] || shared[i];
        otherEntry.toolCallProofs.forEach(
            [&](const std::string&, std::uint64_t proof) { calls.insert(proof); });
    }
    return told;
}

void leaveOut(const std::vector<bool>& marked, EffectiveSessionUsage& usage) {
    Deltas left;
    for (std::size_t i = 0; i < usage.deltas.size(); ++i) {
        if (!marked[i]) left.push_back(usage.deltas[i]);
    }
    usage.take(std::move(left));
}

}  // namespace

bool sessionUsageHasUnresolvedParent(const LoadedSessionUsage& session,
                                     const SessionFamilies& families) {
    if (session.lineage().historyBase) return false;  // it copies nothing
    if (const auto& parent = session.lineage().parentThreadId) {
        return families.ofThread(*parent).empty();
    }
    return session.source.isSubagent && !session.source.allowsMissingParentLineage;
}

std::optional<EffectiveSessionUsage> effectiveSessionUsage(const LoadedSessionUsage& session,
                                                           const SessionFamilies& families,
                                                           SessionDeltaMemo& memo) {
    const auto all = memo.deltas(session);
    if (all == nullptr) return std::nullopt;
    const SessionUsageCacheEntry& entry = *memo.entry(session);
    EffectiveSessionUsage usage{
        .owner = all, .deltas = *all, .toolCalls = entry.toolCalls, .skillLoads = entry.skillLoads};
    auto shared = inheritance(session, usage.deltas, families, memo);
    const auto told = toldByOtherVersions(session, families, memo, usage.deltas, shared.toolCalls);
    removeCopiedCalls(shared.toolCalls, entry, usage);
    const auto& lineage = session.lineage();
    if (inheritsCounter(entry)) {
        const auto cost = InheritedCounter::firstCost(session, families, memo);
        const auto first = static_cast<std::size_t>(*entry.firstReading->deltaIndex);
        const bool isTold = first < told.size() && told[first];
        usage.isWithoutParent = !cost.isProved && !isTold;
        if (!told.empty()) leaveOut(told, usage);
        if (!isTold) replaceFirst(entry, cost.tokens, usage);
        return usage;
    }
    std::size_t copied = shared.copiedPrefix;
    if (!told.empty()) {
        for (std::size_t i = 0; i < told.size(); ++i) {
            if (told[i] && i < shared.copiedPrefix) --copied;
        }
        leaveOut(told, usage);
    }
    if (!lineage.historyBase && (lineage.parentThreadId || session.source.isSubagent)) {
        const bool lacksParent =
            copied == 0 && told.empty() && sessionUsageHasUnresolvedParent(session, families);
        leaveOutCopies(entry, copied, lacksParent, usage);
    }
    return usage;
}

const SessionUsageSource& rootConversationSource(const LoadedSessionUsage& session,
                                                 const SessionFamilies& families) {
    const LoadedSessionUsage* root = &session;
    if (!session.lineage().parentThreadId) return session.source;
    std::set<std::string> visited{session.source.threadId};
    for (auto parent = root->lineage().parentThreadId; parent && visited.insert(*parent).second;
         parent = root->lineage().parentThreadId) {
        const auto& logs = families.ofThread(*parent);
        if (logs.empty()) break;
        root = logs.front();
    }
    return root->source;
}

}  // namespace CodexUsageReader

}  // namespace vantry
