#include "statistics/PersonalUsagePace.h"

#include <algorithm>
#include <cmath>

namespace vantry {

namespace WeeklyQuotaPaceCalculator {

namespace {

/// The part of the window that is over, 0...1.
std::optional<double> timeProgress(const Window& window) {
    if (!window.windowDurationMins || *window.windowDurationMins <= 0 || !window.resetsAt) {
        return std::nullopt;
    }
    const double remaining = *window.resetsAt - window.now;
    if (!std::isfinite(remaining)) return std::nullopt;
    const double duration = static_cast<double>(*window.windowDurationMins) * 60.0;
    return std::clamp(1.0 - remaining / duration, 0.0, 1.0);
}

}  // namespace

std::optional<WeeklyQuotaPace> calculate(const Window& window) {
    constexpr double tolerance = 0.03;
    const bool isKnown = window.usedPercent && std::isfinite(*window.usedPercent);
    if (!isKnown || (!window.windowDurationMins && !window.resetsAt)) return std::nullopt;
    WeeklyQuotaPace pace{.timeProgress = timeProgress(window),
                         .quotaUsed = std::clamp(*window.usedPercent / 100.0, 0.0, 1.0)};
    if (pace.timeProgress && !window.isStale) {
        pace.status = pace.quotaUsed > *pace.timeProgress + tolerance
                          ? WeeklyQuotaPaceStatus::aheadOfPace
                          : WeeklyQuotaPaceStatus::healthy;
    }
    return pace;
}

}  // namespace WeeklyQuotaPaceCalculator

}  // namespace vantry
