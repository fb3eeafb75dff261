#include "refresh/StatisticsSnapshotCache.h"

#include <algorithm>

#include "statistics/StatisticsContext.h"

namespace vantry {

namespace {

bool isOfKnownAccount(const RuntimeUsageSnapshot* runtime) {
    if (runtime == nullptr) return false;
    const auto& identity = runtime->snapshot.accountIdentity;
    return identity && !identity->empty();
}

bool hasSameOfficialUsage(const UsageSnapshot& a, const UsageSnapshot& b) {
    return a.officialLifetimeTokens == b.officialLifetimeTokens &&
           a.officialLifetimeCapturedAt == b.officialLifetimeCapturedAt &&
           a.officialLifetimeIsStale == b.officialLifetimeIsStale &&
           a.officialUsageReadStatus == b.officialUsageReadStatus &&
           a.cloudDailyBuckets == b.cloudDailyBuckets &&
           a.cloudDailyUsageAttempted == b.cloudDailyUsageAttempted &&
           a.cloudDailyUsageCapturedAt == b.cloudDailyUsageCapturedAt &&
           a.cloudDailyUsageIsStale == b.cloudDailyUsageIsStale;
}

std::string dayKeyIn(const std::string& resolvedIdentifier, Date now) {
    return localDayKey(now, StatisticsContext::calendar(resolvedIdentifier, TimeZone::utc()));
}

}  // namespace

void StatisticsSnapshotCache::store(const MultiRuntimeUsageSnapshot& batch, Date now) {
    if (!isOfKnownAccount(batch.runtime(RuntimeScope::codex))) return;
    const std::string& key = batch.statisticsIdentity.resolvedIdentifier;
    std::erase_if(entries_, [&](const Entry& entry) { return entry.resolvedIdentifier == key; });
    entries_.push_back({.resolvedIdentifier = key,
                        .snapshot = batch,
                        .cachedAt = now,
                        .dayKey = dayKeyIn(key, now)});
    if (entries_.size() > limit) entries_.erase(entries_.begin());
}

bool StatisticsSnapshotCache::isValid(const Entry& entry, const Lookup& lookup) {
    const RuntimeUsageSnapshot* cached = entry.snapshot.runtime(RuntimeScope::codex);
    return isOfKnownAccount(lookup.published) && cached != nullptr &&
           cached->snapshot.accountIdentity == lookup.published->snapshot.accountIdentity &&
           hasSameOfficialUsage(cached->snapshot, lookup.published->snapshot) &&
           entry.dayKey == dayKeyIn(lookup.resolvedIdentifier, lookup.now) &&
           lookup.now >= entry.cachedAt && lookup.now - entry.cachedAt <= timeToLive;
}

std::optional<MultiRuntimeUsageSnapshot> StatisticsSnapshotCache::validSnapshot(
    const Lookup& lookup) {
    const auto found =
        std::ranges::find(entries_, lookup.resolvedIdentifier, &Entry::resolvedIdentifier);
    if (found == entries_.end()) return std::nullopt;
    if (!isValid(*found, lookup)) {
        entries_.erase(found);
        return std::nullopt;
    }
    std::rotate(found, found + 1, entries_.end());
    return entries_.back().snapshot;
}

bool StatisticsSnapshotCache::contains(const std::string& resolvedIdentifier) const {
    return std::ranges::find(entries_, resolvedIdentifier, &Entry::resolvedIdentifier) !=
           entries_.end();
}

}  // namespace vantry
