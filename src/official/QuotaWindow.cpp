#include "official/QuotaWindow.h"

#include <algorithm>
#include <cmath>

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

RuntimeQuotaWindowSelection selectedQuotaWindow(const UsageSnapshot& snapshot) {
    return RuntimeQuotaWindowPolicy::selected({.account = snapshot.account,
                                               .primary = snapshot.primary,
                                               .secondary = snapshot.secondary});
}

namespace QuotaWindowPresentation {

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

}  // namespace QuotaWindowPresentation

}  // namespace vantry
