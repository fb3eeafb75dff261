#include "runtime/AgentUsageAggregator.h"

#include <algorithm>

namespace vantry::AgentUsageAggregator {

namespace {

using SnapshotList = std::vector<const UsageSnapshot*>;

// The first snapshot for which `has` holds.
template <class Has>
const UsageSnapshot* first(const SnapshotList& snapshots, Has has) {
    const auto found = std::ranges::find_if(snapshots, [&](const auto* s) { return has(*s); });
    return found == snapshots.end() ? nullptr : *found;
}

// The only snapshot for which `has` holds.
template <class Has>
const UsageSnapshot* only(const SnapshotList& snapshots, Has has) {
    if (std::ranges::count_if(snapshots, [&](const auto* s) { return has(*s); }) != 1) {
        return nullptr;
    }
    return first(snapshots, has);
}

void takeOfficial(UsageSnapshot& into, const SnapshotList& from) {
    if (const auto* s = first(from, [](const auto& x) { return x.account.has_value(); })) {
        into.account = s->account;
    }
    if (const auto* s = first(from, [](const auto& x) { return x.accountIdentity.has_value(); })) {
        into.accountIdentity = s->accountIdentity;
    }
    // The two windows belong together, and the credits to them.
    if (const auto* s = first(from, [](const auto& x) { return x.primary || x.secondary; })) {
        into.primary = s->primary;
        into.secondary = s->secondary;
        into.credits = s->credits;
    } else if (const auto* c = first(from, [](const auto& x) { return x.credits.has_value(); })) {
        into.credits = c->credits;
    }
    const auto wasAsked = [](const auto& x) {
        return x.officialUsageReadStatus != OfficialUsageReadStatus::notAttempted;
    };
    if (const auto* s = first(from, wasAsked)) {
        into.officialLifetimeTokens = s->officialLifetimeTokens;
        into.officialLifetimeCapturedAt = s->officialLifetimeCapturedAt;
        into.officialLifetimeIsStale = s->officialLifetimeIsStale;
        into.officialUsageReadStatus = s->officialUsageReadStatus;
        into.cloudDailyBuckets = s->cloudDailyBuckets;
        into.cloudDailyUsageAttempted = s->cloudDailyUsageAttempted;
        into.cloudDailyUsageCapturedAt = s->cloudDailyUsageCapturedAt;
        into.cloudDailyUsageIsStale = s->cloudDailyUsageIsStale;
    }
}

void takeLocal(UsageSnapshot& into, const SnapshotList& from) {
    if (const auto* s = only(from, [](const auto& x) { return x.local.has_value(); })) {
        into.local = s->local;
        into.localUsageCapturedAt = s->localUsageCapturedAt;
        into.localUsageIsStale = s->localUsageIsStale;
        into.localUsageReadStatus = s->localUsageReadStatus;
    } else if (!from.empty()) {
        into.localUsageReadStatus = from.front()->localUsageReadStatus;
    }
    if (const auto* s = only(from, [](const auto& x) { return x.taskBoard.has_value(); })) {
        into.taskBoard = s->taskBoard;
    }
}

}  // namespace

UsageSnapshot aggregate(const std::vector<RuntimeUsageSnapshot>& runtimes, Date at) {
    SnapshotList snapshots;
    for (const RuntimeUsageSnapshot& runtime : runtimes) snapshots.push_back(&runtime.snapshot);
    UsageSnapshot result{.refreshedAt = at};
    takeOfficial(result, snapshots);
    takeLocal(result, snapshots);
    for (const UsageSnapshot* snapshot : snapshots) {
        const auto append = [](auto& list, const auto& more) {
            list.insert(list.end(), more.begin(), more.end());
        };
        append(result.messages, snapshot->messages);
        append(result.localReadMessages, snapshot->localReadMessages);
        append(result.hybridReadMessages, snapshot->hybridReadMessages);
    }
    if (!snapshots.empty()) result.readerState = snapshots.front()->readerState;
    result.readerState.isLoading =
        std::ranges::any_of(snapshots, [](const auto* s) { return s->readerState.isLoading; });
    return result;
}

}  // namespace vantry::AgentUsageAggregator
