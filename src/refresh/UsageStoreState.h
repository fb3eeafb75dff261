#pragma once

#include <optional>
#include <string>

#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// All that the presentation shows.
struct UsageStoreState {
    UsageSnapshot snapshot = UsageSnapshot::empty();  ///< of `selectedRuntimeScope`
    MultiRuntimeUsageSnapshot multiRuntimeSnapshot = MultiRuntimeUsageSnapshot::empty();
    RuntimeScope selectedRuntimeScope = RuntimeScope::codex;
    bool isRefreshing = false;  ///< a full or a quota read is running
    bool isRefreshingLocalUsage = false;
    StatisticsTimeZonePreference statisticsPreference;
    std::optional<std::string> statisticsTransitionMessage;  ///< about a switch of the zone
    bool isSwitchingStatisticsTimeZone = false;              ///< the switch waits for its data

    friend bool operator==(const UsageStoreState&, const UsageStoreState&) = default;
};

}  // namespace vantry
