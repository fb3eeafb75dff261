#include "local/lineage/SessionDeltaMemo.h"

#include <algorithm>

namespace vantry {

std::span<const SessionReadings::Reading> SessionReadings::before(
    std::int64_t endOrdinalExclusive) const {
    const auto end = std::ranges::lower_bound(readings, endOrdinalExclusive, {}, &Reading::ordinal);
    return {readings.begin(), end};
}

const SessionUsageCacheEntry* SessionDeltaMemo::entry(const LoadedSessionUsage& session) {
    Log& log = logs_[&session];
    if (!std::exchange(log.isLoaded, true)) log.entry = load_(session);
    return log.entry.get();
}

SessionDeltaMemo::Deltas SessionDeltaMemo::deltas(const LoadedSessionUsage& session) {
    const SessionUsageCacheEntry* known = entry(session);
    Log& log = logs_[&session];
    if (known == nullptr || log.deltas != nullptr) return log.deltas;
    auto decoding = known->deltaStorage.decoded();
    if (!decoding.deltas) return nullptr;
    log.deltas =
        std::make_shared<const std::vector<SessionUsageDelta>>(*std::move(decoding.deltas));
    return log.deltas;
}

const SessionReadings* SessionDeltaMemo::readings(const LoadedSessionUsage& session) {
    const Deltas events = deltas(session);
    Log& log = logs_[&session];
    if (events == nullptr) return nullptr;
    if (log.readings) return &*log.readings;
    const auto trail = log.entry->readingTrail.decoded(log.entry->deltaCount());
    if (!trail) return nullptr;
    SessionReadings result;
    result.readings.reserve(events->size());
    TokenBreakdown total;
    auto correction = trail->corrections.begin();
    for (std::size_t i = 0; i < events->size(); ++i) {
        total.add((*events)[i].tokens);
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
    log.readings = std::move(result);
    return &*log.readings;
}

}  // namespace vantry
