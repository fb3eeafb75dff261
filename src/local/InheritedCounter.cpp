#include "local/InheritedCounter.h"

#include <algorithm>
#include <set>
#include <string>

namespace vantry::InheritedCounter {

namespace {

using Reading = SessionReadings::Reading;

// The readings that the counter can have stood at when a log left its history, newest log first.
struct AncestorReadings {
    std::vector<std::span<const Reading>> logs;
    bool isKnown = false;  ///< every log of the history was there to be looked at

    const TokenBreakdown* last() const {
        const auto found = std::ranges::find_if(logs, [](const auto& log) { return !log.empty(); });
        return found == logs.end() ? nullptr : &found->back().total;
    }

    bool hold(const TokenBreakdown& total) const {
        return std::ranges::any_of(logs, [&](const auto& log) {
            return std::ranges::find(log, total, &Reading::total) != log.end();
        });
    }
};

AncestorReadings ancestorReadings(const LoadedSessionUsage& session,
                                  const SessionsByThreadId& sessions, SessionDeltaMemo& memo) {
    AncestorReadings result;
    std::set<std::string> visited{session.source.threadId};
    auto base = session.entry.lineage->historyBase;
    while (base) {
        const auto found = sessions.find(base->threadId);
        if (found == sessions.end() || !visited.insert(base->threadId).second) return result;
        const LoadedSessionUsage& ancestor = *found->second;
        const SessionReadings* readings = memo.readings(base->threadId, ancestor.entry);
        if (readings == nullptr) return result;
        result.logs.push_back(readings->before(base->endOrdinalExclusive));
        // Line numbers go on from the log before, so a history that ends inside it ends there too.
        const std::int64_t end = base->endOrdinalExclusive;
        base = ancestor.entry.lineage ? ancestor.entry.lineage->historyBase : std::nullopt;
        if (base) base->endOrdinalExclusive = std::min(base->endOrdinalExclusive, end);
    }
    result.isKnown = true;
    return result;
}

// What the counter stood at before the first event, by what the event says that it added.
std::optional<TokenBreakdown> startOf(const SessionFirstReading& first) {
    if (!first.last) return std::nullopt;
    const TokenBreakdown start{
        .inputTokens = first.total.inputTokens - first.last->inputTokens,
        .cachedInputTokens = first.total.cachedInputTokens - first.last->cachedInputTokens,
        .outputTokens = first.total.outputTokens - first.last->outputTokens,
        .reasoningOutputTokens =
            first.total.reasoningOutputTokens - first.last->reasoningOutputTokens,
        .totalTokens = first.total.totalTokens - first.last->totalTokens};
    if (start.hasNegativeValue()) return std::nullopt;
    return start;
}

}  // namespace

std::optional<TokenBreakdown> firstCost(const LoadedSessionUsage& session,
                                        const SessionsByThreadId& sessions,
                                        SessionDeltaMemo& memo) {
    const SessionUsageCacheEntry& entry = session.entry;
    const bool inherits = entry.lineage && entry.lineage->historyBase;
    if (!entry.firstReading) {
        if (inherits && entry.deltaCount() > 0) return std::nullopt;
        return TokenBreakdown{};
    }
    const SessionFirstReading& first = *entry.firstReading;
    if (!inherits) return first.total;
    const AncestorReadings ancestors = ancestorReadings(session, sessions, memo);
    if (!ancestors.isKnown) {
        const auto start = startOf(first);
        return start && start->isZero() ? std::optional(first.total) : std::nullopt;
    }
    // The reading at the point of leaving decides; an older one only where that one does not fit.
    const TokenBreakdown* last = ancestors.last();
    if (last != nullptr && first.total == *last) return TokenBreakdown{};
    const auto start = startOf(first);
    if (start && (start->isZero() || ancestors.hold(*start))) return first.last;
    if (ancestors.hold(first.total)) return TokenBreakdown{};
    return std::nullopt;
}

}  // namespace vantry::InheritedCounter
