#include "runtime/AgentUsageAggregator.h"

#include <algorithm>
#include <iterator>

#include "runtime/LocalUsageAggregation.h"

namespace vantry::AgentUsageAggregator {

namespace {

// The first snapshot for which `has` holds.
template <class Has>
const UsageSnapshot* first(const Parts<UsageSnapshot>& snapshots, Has has) {
    const auto found = std::ranges::find_if(snapshots, [&](const auto* s) { return has(*s); });
    return found == snapshots.end() ? nullptr : *found;
}

void takeQuota(UsageSnapshot& into, const Parts<UsageSnapshot>& from) {
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
        into.limits = s->limits;
    } else if (const auto* c = first(from, [](const auto& x) { return x.credits.has_value(); })) {
        into.credits = c->credits;
        into.limits = c->limits;
    }
}

// A figure can outlive a refresh that did not ask for it. Without a figure, the marks are those of
// the first runtime that was asked.
void takeOfficialUsage(UsageSnapshot& into, const Parts<UsageSnapshot>& from) {
    const auto any = [](const auto&) { return true; };
    const auto hasLifetime = [](const auto& x) { return x.officialLifetimeTokens.has_value(); };
    const auto wasAsked = [](const auto& x) {
        return x.officialUsageReadStatus != OfficialUsageReadStatus::notAttempted;
    };
    const UsageSnapshot* s = first(from, hasLifetime);
    if (s == nullptr) s = first(from, wasAsked);
    if (s == nullptr) s = first(from, any);
    if (s == nullptr) return;
    into.officialLifetimeTokens = s->officialLifetimeTokens;
    into.officialLifetimeCapturedAt = s->officialLifetimeCapturedAt;
    into.officialLifetimeIsStale = s->officialLifetimeIsStale;
    into.officialUsageReadStatus = s->officialUsageReadStatus;

    s = first(from, [](const auto& x) { return x.cloudDailyBuckets.has_value(); });
    if (s == nullptr) s = first(from, [](const auto& x) { return x.cloudDailyUsageAttempted; });
    if (s == nullptr) s = first(from, any);
    into.cloudDailyBuckets = s->cloudDailyBuckets;
    into.cloudDailyUsageAttempted = s->cloudDailyUsageAttempted;
    into.cloudDailyUsageCapturedAt = s->cloudDailyUsageCapturedAt;
    into.cloudDailyUsageIsStale = s->cloudDailyUsageIsStale;
}

void takeLocal(UsageSnapshot& into, const Parts<UsageSnapshot>& from) {
    Parts<UsageSnapshot> parts;
    std::ranges::copy_if(from, std::back_inserter(parts),
                         [](const auto* s) { return s->local.has_value(); });
    if (parts.empty()) {
        parts = from;
    } else {
        into.local = aggregateLocalUsage(partsOf(parts, &UsageSnapshot::local));
    }
    for (const UsageSnapshot* part : parts) {
        if (const auto& captured = part->localUsageCapturedAt) {
            const Date oldest = into.localUsageCapturedAt.value_or(*captured);
            into.localUsageCapturedAt = std::min(oldest, *captured);
        }
        into.localUsageIsStale |= part->localUsageIsStale;
        into.localUsageReadStatus = std::max(into.localUsageReadStatus, part->localUsageReadStatus);
    }
}

void takeTaskBoard(UsageSnapshot& into, const Parts<UsageSnapshot>& from) {
    const auto boards = partsOf(from, &UsageSnapshot::taskBoard);
    if (boards.size() == 1) into.taskBoard = *boards.front();
}

ReaderControlState joinedReaderState(const Parts<ReaderControlState>& states) {
    if (states.empty()) return {};
    ReaderControlState result = *states.front();
    for (const ReaderControlState* state : states) {
        result.isLoading |= state->isLoading;
        if (!result.localDependencyFailure) {
            result.localDependencyFailure = state->localDependencyFailure;
        }
    }
    return result;
}

}  // namespace

UsageSnapshot aggregate(const std::vector<RuntimeUsageSnapshot>& runtimes,
                        const Aggregation& aggregation) {
    Parts<UsageSnapshot> snapshots;
    for (const RuntimeUsageSnapshot& runtime : runtimes) snapshots.push_back(&runtime.snapshot);
    UsageSnapshot result{.refreshedAt = aggregation.at};
    takeQuota(result, snapshots);
    takeOfficialUsage(result, snapshots);
    const UsageSnapshot* previous = aggregation.reusingLocalUsageFrom;
    takeLocal(result, mayReuseLocalAggregate(runtimes, previous) ? Parts<UsageSnapshot>{previous}
                                                                 : snapshots);
    takeTaskBoard(result, snapshots);
    for (const UsageSnapshot* snapshot : snapshots) {
        const auto append = [](auto& list, const auto& more) {
            list.insert(list.end(), more.begin(), more.end());
        };
        append(result.messages, snapshot->messages);
        append(result.localReadMessages, snapshot->localReadMessages);
        append(result.hybridReadMessages, snapshot->hybridReadMessages);
    }
    result.readerState = joinedReaderState(partsOf(snapshots, &UsageSnapshot::readerState));
    return result;
}

bool mayReuseLocalAggregate(std::span<const RuntimeUsageSnapshot> incoming,
                            const UsageSnapshot* previous) {
    if (incoming.empty() || previous == nullptr || !previous->local) return false;
    return std::ranges::all_of(incoming, [](const RuntimeUsageSnapshot& runtime) {
        return runtime.snapshot.localUsageReadStatus == LocalUsageReadStatus::notAttempted;
    });
}

}  // namespace vantry::AgentUsageAggregator
