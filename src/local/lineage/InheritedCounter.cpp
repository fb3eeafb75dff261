#include "local/lineage/InheritedCounter.h"

#include <algorithm>
#include <set>
#include <string>

namespace vantry::InheritedCounter {

namespace {

using Reading = SessionReadings::Reading;

// The readings that the counter can have stood at when a log left its history, newest log first.
struct AncestorReadings {
    std::vector<std::span<const Reading>> logs;

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
                                  const SessionFamilies& families, SessionDeltaMemo& memo) {
    AncestorReadings result;
    std::set<std::string> visited;
    auto base = session.lineage().historyBase;
    while (base) {
        const auto& versions = families.ofSegment(base->threadId);
        if (versions.empty() || !visited.insert(base->threadId).second) return result;
        // Several states of one log show the same readings as far as they go together.
        for (const LoadedSessionUsage* version : versions) {
            if (const SessionReadings* readings = memo.readings(*version)) {
                result.logs.push_back(readings->before(base->endOrdinalExclusive));
            }
        }
        // Line numbers go on from the log before, so a history that ends inside it ends there too.
        const std::int64_t end = base->endOrdinalExclusive;
        base = versions.front()->lineage().historyBase;
        if (base) base->endOrdinalExclusive = std::min(base->endOrdinalExclusive, end);
    }
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

FirstCost firstCost(const LoadedSessionUsage& session, const SessionFamilies& families,
                    SessionDeltaMemo& memo) {
    const SessionUsageCacheEntry* entry = memo.entry(session);
    if (entry == nullptr || !entry->firstReading) return {};
    const SessionFirstReading& first = *entry->firstReading;
    if (!session.lineage().historyBase) return {.tokens = first.total};
    const AncestorReadings ancestors = ancestorReadings(session, families, memo);
    // The reading at the point of leaving decides; an older one only where that one does not fit.
    const TokenBreakdown* last = ancestors.last();
    if (last != nullptr && first.total == *last) return {};
    const auto start = startOf(first);
    if (start && (start->isZero() || ancestors.hold(*start))) return {.tokens = *first.last};
    if (ancestors.hold(first.total)) return {};
    return {.tokens = first.last.value_or(TokenBreakdown{}), .isProved = false};
}

}  // namespace vantry::InheritedCounter
