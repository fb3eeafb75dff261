#pragma once

#include "presentation/dashboard/DashboardNavigation.h"
#include "presentation/format/Wording.h"
#include "refresh/UsageStoreState.h"
#include "session/settings/AppSettings.h"
#include "session/settings/MachineFacts.h"

namespace vantry {

/// All that a surface is made of. Equal input, equal value.
struct SurfaceInput {
    const UsageStoreState& state;
    const AppSettingsValues& settings;
    const DashboardNavigation& navigation;
    const MachineFacts& machine;
    Date now;

    /// The sentences of this moment, in the statistics zone.
    Wording wording() const;

    const RuntimeUsageSnapshot* runtime() const {
        return state.multiRuntimeSnapshot.runtime(state.selectedRuntimeScope);
    }
    const UsageSnapshot& snapshot() const { return state.snapshot; }

    /// The local figures of today; null where there are none, or only those of another day.
    const LocalUsage* localOfToday() const;
    /// The local figures whatever their day, for what covers more than a day.
    const LocalUsage* local() const {
        return state.snapshot.local ? &*state.snapshot.local : nullptr;
    }
    /// Where local figures come from.
    FigureOrigin localOrigin() const;
    bool isFirstRead() const;
};

}  // namespace vantry
