#include "local/SessionDeltaMemo.h"

#include <algorithm>

namespace vantry {

std::span<const SessionReadings::Reading> SessionReadings::before(
    std::int64_t endOrdinalExclusive) const {
    const auto end = std::ranges::lower_bound(readings, endOrdinalExclusive, {}, &Reading::ordinal);
    return {readings.begin(), end};
}

SessionDeltaMemo::Deltas SessionDeltaMemo::deltas(const SessionUsageCacheEntry& entry) {
    const auto known = deltas_.find(&entry);
    if (known != deltas_.end()) return known->second;
    auto decoding = entry.deltaStorage.decoded();
    if (!decoding.deltas) return nullptr;
    auto deltas =
        std::make_shared<const std::vector<SessionUsageDelta>>(*std::move(decoding.deltas));
    return deltas_.emplace(&entry, std::move(deltas)).first->second;
}

const SessionReadings* SessionDeltaMemo::readings(const SessionUsageCacheEntry& entry) {
    const auto known = readings_.find(&entry);
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
    return &readings_.emplace(&entry, std::move(result)).first->second;
}

void SessionDeltaMemo::release(const SessionUsageCacheEntry& entry) {
    deltas_.erase(&entry);
    histories_.erase(&entry);
    readings_.erase(&entry);
}

}  // namespace vantry
