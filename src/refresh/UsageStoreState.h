#pragma once

#include <optional>

#include "records/RuntimeUsageSnapshot.h"
#include "refresh/StatisticsZoneSwitch.h"

namespace vantry {

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

/// What of the state has changed, so that a surface that shows none of it does nothing.
struct UsageStoreChanges {
    bool quota = false;     ///< the account, its windows and credits
    bool local = false;     ///< tokens, of the logs and of the service
    bool board = false;     ///< the task board
    bool activity = false;  ///< what is read, when it was, and what there is to say of it
    bool zone = false;      ///< the statistics zone, its day, or a switch of it

    bool any() const { return quota || local || board || activity || zone; }
    void add(const UsageStoreChanges& more);

    friend bool operator==(const UsageStoreChanges&, const UsageStoreChanges&) = default;
};

/// What differs between two batches.
UsageStoreChanges changesBetween(const MultiRuntimeUsageSnapshot& before,
                                 const MultiRuntimeUsageSnapshot& after);

}  // namespace vantry
