#pragma once

#include <optional>
#include <string>

#include "official/QuotaWindow.h"
#include "records/RuntimeUsageSnapshot.h"

/// Which side's quota stands after a read. The windows, their capture time and their label are
/// always those of one side: there is one capture time, and a window must not be given another's.
namespace vantry::QuotaRefreshFallbackPolicy {

struct QuotaWindowCapture {
    std::optional<RateWindow> window;
    std::optional<Date> capturedAt;
    Date now;
};

/// The window if it still runs at `now`.
std::optional<RateWindow> reusableQuotaWindow(const QuotaWindowCapture& capture);

struct QuotaSides {
    const RuntimeUsageSnapshot& incoming;
    const RuntimeUsageSnapshot* accountSource = nullptr;  ///< what is shown of the same account
    RuntimeQuotaWindowKind kind = RuntimeQuotaWindowKind::sevenDay;  ///< the plan's window
    Date now;
};

struct StandingQuota {
    std::optional<RateWindow> primary;    ///< if it still runs
    std::optional<RateWindow> secondary;  ///< likewise
    std::optional<CreditsInfo> credits;
    AccountLimits limits;            ///< with those windows that still run
    std::optional<Date> capturedAt;  ///< absent without a window
    std::string sourceLabel;
    bool hasSelected = false;  ///< the plan's window is among them
    bool isStale = false;      ///< a window is shown that a later read failed to renew
};

/// A side whose plan window runs wins. If both have it, the incoming side wins unless what is shown
/// was captured later. If neither has it, the other window decides in the same way, and never fills
/// its place. Credits are the incoming ones, for a kept number of resets would look like a
/// recovery; only a quota that stands because it is the newer keeps its own. This is where a quota
/// becomes stale; whether its window has run out is QuotaWindowPresentation's.
StandingQuota standingQuota(const QuotaSides& sides);

}  // namespace vantry::QuotaRefreshFallbackPolicy
