#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "presentation/SurfaceInput.h"

namespace vantry {

/// A made-up state with a fixed clock, for pictures and for reading every value without a Codex.
struct SampleState {
    std::string name;
    UsageStoreState state;
    AppSettingsValues settings;
    DashboardNavigation navigation;
    MachineFacts machine;
    Date now;
    double windowWidth = 1080;  ///< of the dashboard, in pixels

    SurfaceInput input() const {
        return {.state = state,
                .settings = settings,
                .navigation = navigation,
                .machine = machine,
                .now = now};
    }
};

/// In the order in which they are looked at.
std::vector<std::string_view> sampleStateNames();

/// Nothing for a name that is not in the list. Equal calls give equal states.
std::optional<SampleState> sampleState(std::string_view name);

}  // namespace vantry
