#include "local/SessionDeltaMemo.h"

#include <algorithm>

namespace vantry {

std::span<const SessionReadings::Reading> SessionReadings::before(
    std::int64_t endOrdinalExclusive) const {
    const auto end = std::ranges::lower_bound(readings, endOrdinalExclusive, {}, &Reading::ordinal);
    return {readings.begin(), end};
}

std::optional<SessionDeltaMemo::Accepted> SessionDeltaMemo::accepted(
    const std::string& threadId, const SessionUsageCacheEntry& entry) {
    const auto known = accepted_.find(threadId);
    if (known != accepted_.end()) return known->second;
    auto decoding = entry.deltaStorage.decoded();
    if (!decoding.deltas) return std::nullopt;
    auto kept = SessionUsageEventTimePolicy::acceptedDeltas(*std::move(decoding.deltas), now_);
    Accepted result{
        .deltas = std::make_shared<const std::vector<SessionUsageDelta>>(std::move(kept.deltas)),
        .rejectedCount = kept.rejectedCount};
    accepted_.emplace(threadId, result);
    return result;
}

const SessionReadings* SessionDeltaMemo::readings(const std::string& threadId,
                                                  const SessionUsageCacheEntry& entry) {
    const auto known = readings_.find(threadId);
    if (known != readings_.end()) return &known->second;
    const auto decoding = entry.deltaStorage.decoded();
    const auto trail = entry.readingTrail.decoded(entry.deltaStorage.count);
    if (!decoding.deltas || !trail) return nullptr;
    SessionReadings result;
    result.readings.reserve(decoding.deltas->size());
    TokenBreakdown total;
    auto correction = trail->corrections.begin();
    for (std::size_t i = 0; i < decoding.deltas->size(); ++i) {
        total.add((*decoding.deltas)[i].tokens);
        const auto isHere = [&] {
            return correction != trail->corrections.end() &&
                   correction->deltaIndex <= static_cast<std::int64_t>(i);
        };
        if (isHere() && correction->ordinal == trail->ordinals[i]) total = (correction++)->total;
        result.readings.push_back({.ordinal = trail->ordinals[i], .total = total});
        for (; isHere(); ++correction) {
            total = correction->total;
            result.readings.push_back({.ordinal = correction->ordinal, .total = total});
        }
    }
    return &readings_.emplace(threadId, std::move(result)).first->second;
}

void SessionDeltaMemo::release(const std::string& threadId) {
    accepted_.erase(threadId);
    readings_.erase(threadId);
}

}  // namespace vantry
