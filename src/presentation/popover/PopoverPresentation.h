#pragma once

#include <string>
#include <vector>

#include "official/QuotaWindow.h"
#include "presentation/cards/GoalsCard.h"
#include "presentation/cards/HeatmapCard.h"
#include "presentation/cards/HourlyUsageCard.h"
#include "presentation/cards/QuotaCard.h"

namespace vantry {

/// Everything that the popover shows. Choosing a card opens the tab that explains it.
struct PopoverPresentation {
    QuotaCard quota;
    Action quotaAction;
    HourlyUsageCard hourly;
    Action hourlyAction;
    GoalsCard goals;
    Action goalsAction;
    HeatmapCard month;
    Action monthAction;
    std::vector<Action> actions;  ///< the buttons at the end, in their order
    std::string notEnoughSpace;   ///< in the place of everything where the screen is too low
    Action openInstead;

    friend bool operator==(const PopoverPresentation&, const PopoverPresentation&) = default;
};

template <>
struct RecordFields<PopoverPresentation> {
    using Popover = PopoverPresentation;
    static constexpr std::tuple list{field("quota", &Popover::quota),
                                     field("quotaAction", &Popover::quotaAction),
                                     field("hourly", &Popover::hourly),
                                     field("hourlyAction", &Popover::hourlyAction),
                                     field("goals", &Popover::goals),
                                     field("goalsAction", &Popover::goalsAction),
                                     field("month", &Popover::month),
                                     field("monthAction", &Popover::monthAction),
                                     field("actions", &Popover::actions),
                                     field("notEnoughSpace", &Popover::notEnoughSpace),
                                     field("openInstead", &Popover::openInstead)};
};

PopoverPresentation popover(const SurfaceInput& input);

/// A recovery of the quota that was told early.
struct QuotaRecoveryPresentation {
    std::string title;
    std::vector<std::string> body;  ///< lines
    std::string window;             ///< "7-day quota"
    Action dismiss;
    std::string accessibleName;

    friend bool operator==(const QuotaRecoveryPresentation&,
                           const QuotaRecoveryPresentation&) = default;
};

template <>
struct RecordFields<QuotaRecoveryPresentation> {
    using Recovery = QuotaRecoveryPresentation;
    static constexpr std::tuple list{
        field("title", &Recovery::title), field("body", &Recovery::body),
        field("window", &Recovery::window), field("dismiss", &Recovery::dismiss),
        field("accessibleName", &Recovery::accessibleName)};
};

QuotaRecoveryPresentation quotaRecovery(RuntimeQuotaWindowKind windowKind, WidgetLanguage language);

}  // namespace vantry
