#include "runtime/MultiRuntimeUsageReader.h"

#include <algorithm>

#include "runtime/AgentUsageAggregator.h"
#include "runtime/CodexRuntimeProvider.h"

namespace vantry {

namespace {

RuntimeSnapshotLoadOptions optionsFor(RuntimeScope scope,
                                      const MultiRuntimeUsageReader::LoadRequest& request) {
    const auto previous =
        std::ranges::find(request.previousRuntimes, scope, &RuntimeUsageSnapshot::scope);
    RuntimeSnapshotLoadOptions options;
    if (previous != request.previousRuntimes.end()) {
        options.previousSnapshot = previous->snapshot;
    }
    if (request.findUnchanged) {
        options.findUnchanged = [&request, scope] { return request.findUnchanged(scope); };
    }
    if (request.onQuotaReady) {
        options.onQuotaReady = [&request](const UsageSnapshot& quota) {
            request.onQuotaReady(CodexRuntimeProvider::runtimeSnapshot(quota));
        };
    }
    return options;
}

}  // namespace

MultiRuntimeUsageSnapshot MultiRuntimeUsageReader::load(
    const StatisticsTimeZonePreference& statisticsPreference, const LoadRequest& request) const {
    return load(RuntimeLoadContext::live(Date::now(), statisticsPreference), request);
}

MultiRuntimeUsageSnapshot MultiRuntimeUsageReader::load(const RuntimeLoadContext& context,
                                                        const LoadRequest& request) const {
    MultiRuntimeUsageSnapshot result{
        .refreshedAt = context.now,
        .statisticsIdentity = {.preference = context.statistics.preference(),
                               .resolvedIdentifier = context.statistics.resolvedIdentifier(),
                               .generation = request.generation,
                               .now = context.now}};
    for (const auto& provider : registry_.providers()) {
        result.runtimes.push_back(
            provider->loadSnapshot(context, optionsFor(provider->scope(), request)));
    }
    const UsageSnapshot previous =
        AgentUsageAggregator::aggregate(request.previousRuntimes, {.at = context.now});
    result.aggregate = AgentUsageAggregator::aggregate(
        result.runtimes, {.at = context.now, .reusingLocalUsageFrom = &previous});
    if (result.runtimes.empty()) {
        result.aggregate.messages.push_back({NoticeKind::runtimeLeftOut});
    }
    return result;
}

std::optional<TaskBoard> MultiRuntimeUsageReader::loadTaskBoard(
    RuntimeScope scope, const StatisticsTimeZonePreference& statisticsPreference) const {
    return loadTaskBoard(scope, RuntimeLoadContext::live(Date::now(), statisticsPreference));
}

std::optional<TaskBoard> MultiRuntimeUsageReader::loadTaskBoard(
    RuntimeScope scope, const RuntimeLoadContext& context) const {
    const RuntimeUsageProvider* provider = registry_.provider(scope);
    return provider != nullptr ? provider->loadTaskBoard(context) : std::nullopt;
}

}  // namespace vantry
