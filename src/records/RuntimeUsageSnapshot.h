#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "records/StatisticsIdentity.h"
#include "records/UsageSnapshot.h"

namespace vantry {

struct TodayTokenSources {
    std::optional<std::int64_t> detailed;  ///< of the session logs
    std::optional<std::int64_t> fallback;  ///< the plain total
};

/// Detailed figures beat the plain total, also when they are zero.
std::optional<std::int64_t> preferredRuntimeTodayTokens(const TodayTokenSources& sources);

/// One runtime's snapshot with how far it can be trusted and where it came from.
struct RuntimeUsageSnapshot {
    RuntimeScope scope = RuntimeScope::codex;
    UsageSnapshot snapshot;
    RuntimeMenuStatus status = RuntimeMenuStatus::unavailable;
    std::string quotaSourceLabel;
    std::string usageSourceLabel;
    std::optional<Date> quotaCapturedAt;

    /// Today's tokens from the local records; absent when they are not known.
    std::optional<std::int64_t> todayTokens() const;

    /// The capture time of a quota that has none of its own: that of the snapshot if it holds a
    /// window, otherwise nothing.
    static std::optional<Date> defaultQuotaCapturedAt(const UsageSnapshot& snapshot);

    RuntimeUsageSnapshot replacingTaskBoard(std::optional<TaskBoard> board) const;

    friend bool operator==(const RuntimeUsageSnapshot&, const RuntimeUsageSnapshot&) = default;
};

template <>
struct RecordFields<RuntimeUsageSnapshot> {
    using Runtime = RuntimeUsageSnapshot;
    static constexpr std::tuple list{
        field("scope", &Runtime::scope),
        shownField<Runtime>("displayName",
                            [](const Runtime& r) { return std::string(displayName(r.scope)); }),
        field("status", &Runtime::status),
        field("quotaSourceLabel", &Runtime::quotaSourceLabel),
        field("usageSourceLabel", &Runtime::usageSourceLabel),
        field("snapshot", &Runtime::snapshot),
        storedField("quotaCapturedAt", &Runtime::quotaCapturedAt)};
};

/// One read of the world: every runtime in registry order, and all of them in one.
struct MultiRuntimeUsageSnapshot {
    Date refreshedAt;
    std::vector<RuntimeUsageSnapshot> runtimes;
    UsageSnapshot aggregate;
    StatisticsIdentity statisticsIdentity;

    static MultiRuntimeUsageSnapshot empty();

    /// The runtime of that scope, or nothing.
    const RuntimeUsageSnapshot* runtime(RuntimeScope scope) const;

    /// That runtime's snapshot; the aggregate where there is no such runtime.
    const UsageSnapshot& displaySnapshot(RuntimeScope scope) const;

    friend bool operator==(const MultiRuntimeUsageSnapshot&,
                           const MultiRuntimeUsageSnapshot&) = default;
};

}  // namespace vantry
