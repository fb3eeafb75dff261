#include "refresh/QuotaRefreshRetryState.h"

#include "official/QuotaWindow.h"

namespace vantry {

namespace {

/// The plan's window still runs.
bool hasQuota(const RuntimeUsageSnapshot& shown, Date now) {
    const auto window = selectedQuotaWindow(shown.snapshot).window;
    return window && QuotaWindowPresentation::isValid(
                         {.resetsAt = window->resetsAt,
                          .capturedAt = shown.quotaCapturedAt.value_or(shown.snapshot.refreshedAt),
                          .windowDurationMins = window->windowDurationMins,
                          .now = now});
}

}  // namespace

std::optional<double> QuotaRefreshRetryState::nextDelay(const RuntimeUsageSnapshot* shown,
                                                        Date now) {
    if (shown == nullptr || hasQuota(*shown, now) || !mayRetryQuota(shown->snapshot.readerState)) {
        reset();
        return std::nullopt;
    }
    const auto next = static_cast<std::size_t>(scheduledRetryCount);
    if (next >= delays.size()) return std::nullopt;
    ++scheduledRetryCount;
    return delays.at(next);
}

}  // namespace vantry
