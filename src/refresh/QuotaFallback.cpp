#include "refresh/QuotaFallback.h"

#include <algorithm>

namespace vantry::QuotaRefreshFallbackPolicy {

namespace {

/// How much of a quota a side has.
enum class Holding { nothing, otherLimit, otherWindow, plansWindow };

struct Side {
    const RuntimeUsageSnapshot* runtime = nullptr;
    std::optional<Date> capturedAt;
    std::optional<RateWindow> primary;
    std::optional<RateWindow> secondary;
    AccountLimits limits;
    Holding holding = Holding::nothing;
};

Side sideOf(const RuntimeUsageSnapshot& runtime, std::optional<Date> capturedAt,
            const QuotaSides& sides) {
    if (capturedAt && !capturedAt->isFinite()) capturedAt.reset();
    const auto running = [&](const std::optional<RateWindow>& window) {
        return reusableQuotaWindow({.window = window, .capturedAt = capturedAt, .now = sides.now});
    };
    Side side{.runtime = &runtime,
              .capturedAt = capturedAt,
              .primary = running(runtime.snapshot.primary),
              .secondary = running(runtime.snapshot.secondary)};
    side.limits = runtime.snapshot.limits;
    bool hasOther = false;
    for (AccountLimit& limit : side.limits.otherLimits) {
        std::erase_if(limit.windows, [&](const RateWindow& window) { return !running(window); });
        hasOther = hasOther || !limit.windows.empty();
    }
    const bool isFiveHour = sides.kind == RuntimeQuotaWindowKind::fiveHour;
    if (isFiveHour ? side.primary : side.secondary) {
        side.holding = Holding::plansWindow;
    } else if (side.primary || side.secondary) {
        side.holding = Holding::otherWindow;
    } else if (hasOther) {
        side.holding = Holding::otherLimit;
    }
    return side;
}

/// A cached batch whose quota was stale when it was cached. It stays so in every merge.
bool isStaleCarrier(const RuntimeUsageSnapshot& runtime) {
    return runtime.status == RuntimeMenuStatus::stale ||
           isSaid(runtime.snapshot.messages, NoticeKind::quotaIsStale);
}

}  // namespace

std::optional<RateWindow> reusableQuotaWindow(const QuotaWindowCapture& capture) {
    if (!capture.window) return std::nullopt;
    const bool isRunning =
        QuotaWindowPresentation::isValid({.resetsAt = capture.window->resetsAt,
                                          .capturedAt = capture.capturedAt,
                                          .windowDurationMins = capture.window->windowDurationMins,
                                          .now = capture.now});
    return isRunning ? capture.window : std::nullopt;
}

StandingQuota standingQuota(const QuotaSides& sides) {
    const RuntimeUsageSnapshot& read = sides.incoming;
    const Side incoming =
        sideOf(read, read.quotaCapturedAt.value_or(read.snapshot.refreshedAt), sides);
    // What is shown has its own capture time or none: the time of its last refresh moves on with
    // every local read, and would let a window without a reset live for ever.
    Side shown;
    if (sides.accountSource != nullptr) {
        shown = sideOf(*sides.accountSource, sides.accountSource->quotaCapturedAt, sides);
    }
    const bool isFallback = shown.holding > incoming.holding;
    // A cache replays what was read earlier. What a clock that was ahead stamped is not newer.
    const bool isNewer = shown.holding == incoming.holding && shown.capturedAt &&
                         *shown.capturedAt <= sides.now &&
                         (!incoming.capturedAt || *shown.capturedAt > *incoming.capturedAt) &&
                         shown.holding != Holding::nothing;
    const Side& standing = isFallback || isNewer ? shown : incoming;
    StandingQuota quota{.primary = standing.primary,
                        .secondary = standing.secondary,
                        .credits = (isNewer ? *shown.runtime : read).snapshot.credits,
                        .limits = standing.limits,
                        .sourceLabel = standing.runtime->quotaSourceLabel,
                        .hasSelected = standing.holding == Holding::plansWindow};
    if (standing.holding != Holding::nothing) {
        quota.capturedAt = standing.capturedAt;
        quota.isStale = isFallback || isStaleCarrier(*standing.runtime);
    }
    return quota;
}

}  // namespace vantry::QuotaRefreshFallbackPolicy
