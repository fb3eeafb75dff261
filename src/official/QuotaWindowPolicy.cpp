#include "official/QuotaWindowPolicy.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "platform/Text.h"

namespace vantry {

namespace RuntimeQuotaWindowPolicy {

RuntimeQuotaWindowKind selectedKind(const std::optional<std::string>& planType) {
    const bool isPlus = planType && asciiLowercased(trimmed(*planType)) == "plus";
    return isPlus ? RuntimeQuotaWindowKind::fiveHour : RuntimeQuotaWindowKind::sevenDay;
}

RuntimeQuotaWindowSelection selected(const Windows& windows) {
    const RuntimeQuotaWindowKind kind =
        selectedKind(windows.account ? windows.account->planType : std::nullopt);
    return {
        .kind = kind,
        .window = kind == RuntimeQuotaWindowKind::fiveHour ? windows.primary : windows.secondary};
}

}  // namespace RuntimeQuotaWindowPolicy

namespace QuotaWindowPresentation {

namespace {

// Seconds until the reset, if it is known, ahead and finite.
std::optional<double> secondsLeft(const Countdown& countdown) {
    if (!countdown.resetsAt) return std::nullopt;
    const double seconds = *countdown.resetsAt - countdown.now;
    if (!std::isfinite(seconds) || seconds <= 0) return std::nullopt;
    return seconds;
}

// Whole units of that many seconds, rounded up.
std::optional<std::int64_t> unitsUp(std::optional<double> seconds, double unit) {
    constexpr double largest = 9e15;  // beyond it doubles skip integers
    if (!seconds) return std::nullopt;
    const double units = std::ceil(*seconds / unit);
    if (units > largest) return std::nullopt;
    return std::max<std::int64_t>(static_cast<std::int64_t>(units), 1);
}

}  // namespace

std::optional<Date> expiresAt(const WindowTimes& times) {
    if (times.resetsAt) return times.resetsAt->isFinite() ? times.resetsAt : std::nullopt;
    if (!times.capturedAt || !times.capturedAt->isFinite()) return std::nullopt;
    if (!times.windowDurationMins || *times.windowDurationMins <= 0) return std::nullopt;
    const Date end = *times.capturedAt + static_cast<double>(*times.windowDurationMins) * 60.0;
    return end.isFinite() ? std::optional(end) : std::nullopt;
}

bool isValid(const WindowTimes& times) {
    const auto end = expiresAt(times);
    return times.now.isFinite() && end && times.now < *end;
}

std::optional<double> validRemainingPercent(std::optional<double> remainingPercent,
                                            const WindowTimes& times) {
    if (!remainingPercent || !std::isfinite(*remainingPercent) || !isValid(times)) {
        return std::nullopt;
    }
    return std::clamp(*remainingPercent, 0.0, 100.0);
}

std::optional<std::string> remainingHoursText(const Countdown& countdown) {
    const auto tenths = unitsUp(secondsLeft(countdown), 360.0);
    if (!tenths) return std::nullopt;
    if (*tenths % 10 == 0) return fmt::format("{}", *tenths / 10);
    return fmt::format("{}.{}", *tenths / 10, *tenths % 10);
}

std::optional<std::int64_t> remainingDays(const Countdown& countdown) {
    return unitsUp(secondsLeft(countdown), 86'400.0);
}

}  // namespace QuotaWindowPresentation

}  // namespace vantry
