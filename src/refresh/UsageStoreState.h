#pragma once

#include <optional>
#include <string>

#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// A switch of the statistics zone, while it lasts and shortly after.
struct StatisticsTransition {
    enum class Stage { switching, switched, switchedFromCache };
    Stage stage = Stage::switching;
    std::string zoneIdentifier;

    friend bool operator==(const StatisticsTransition&, const StatisticsTransition&) = default;
};

/// All that the presentation shows.
struct UsageStoreState {
    UsageSnapshot snapshot = UsageSnapshot::empty();  ///< of `selectedRuntimeScope`
    MultiRuntimeUsageSnapshot multiRuntimeSnapshot = MultiRuntimeUsageSnapshot::empty();
    RuntimeScope selectedRuntimeScope = RuntimeScope::codex;
    bool isRefreshing = false;  ///< a full or a quota read is running
    bool isRefreshingLocalUsage = false;
    StatisticsTimeZonePreference statisticsPreference;
    std::optional<StatisticsTransition> statisticsTransition;
    bool isSwitchingStatisticsTimeZone = false;  ///< the switch waits for its data

    friend bool operator==(const UsageStoreState&, const UsageStoreState&) = default;
};

}  // namespace vantry
