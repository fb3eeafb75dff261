#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "records/UsageSnapshot.h"

namespace vantry {

enum class RuntimeQuotaWindowKind : std::uint8_t { fiveHour, sevenDay };

struct RuntimeQuotaWindowSelection {
    RuntimeQuotaWindowKind kind = RuntimeQuotaWindowKind::sevenDay;
    std::optional<RateWindow> window;

    friend bool operator==(const RuntimeQuotaWindowSelection&,
                           const RuntimeQuotaWindowSelection&) = default;
};

/// The quota window that a plan is judged by.
///
/// Every surface asks here, so that the menu, the ring and the desktop record cannot disagree.
namespace RuntimeQuotaWindowPolicy {

/// The 5-hour window for a Plus plan, the 7-day window for every other plan and for none.
RuntimeQuotaWindowKind selectedKind(const std::optional<std::string>& planType);

struct Windows {
    std::optional<AccountInfo> account;
    std::optional<RateWindow> primary;    ///< the 5-hour slot
    std::optional<RateWindow> secondary;  ///< the 7-day slot
};

/// The plan's own window, and never the other one in its place.
RuntimeQuotaWindowSelection selected(const Windows& windows);

}  // namespace RuntimeQuotaWindowPolicy

/// The window that the account's plan is judged by.
RuntimeQuotaWindowSelection selectedQuotaWindow(const UsageSnapshot& snapshot);

/// Whether a window still runs and may be shown.
namespace QuotaWindowPresentation {

struct WindowTimes {
    std::optional<Date> resetsAt;
    std::optional<Date> capturedAt;
    std::optional<std::int64_t> windowDurationMins;
    Date now;  ///< the moment that is asked about
};

/// When the window ends. A finite `resetsAt` is the answer; without one, capture time plus the
/// window's length in minutes. Empty if neither is known or the sum is not finite.
std::optional<Date> expiresAt(const WindowTimes& times);

/// Whether the window still runs. One that has reached its reset is dead at once, however
/// recently it was read.
bool isValid(const WindowTimes& times);

/// The percentage, 0...100, of a window that may be shown; otherwise nothing.
std::optional<double> validRemainingPercent(std::optional<double> remainingPercent,
                                            const WindowTimes& times);

}  // namespace QuotaWindowPresentation

}  // namespace vantry
