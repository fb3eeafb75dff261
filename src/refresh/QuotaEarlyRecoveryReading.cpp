#include "refresh/QuotaEarlyRecoveryReading.h"

#include "refresh/QuotaEarlyRecoveryRules.h"

namespace vantry {

namespace {

std::optional<RateWindow> windowOf(const UsageSnapshot& snapshot,
                                   std::optional<std::int64_t> duration) {
    if (duration == QuotaEarlyRecovery::fiveHourWindowDurationMinutes) return snapshot.primary;
    if (duration == QuotaEarlyRecovery::weeklyWindowDurationMinutes) return snapshot.secondary;
    return std::nullopt;
}

}  // namespace

QuotaEarlyRecoveryRead quotaEarlyRecoveryRead(const QuotaEarlyRecoverySources& sources) {
    const RuntimeUsageSnapshot& raw = sources.raw;
    const auto duration =
        QuotaEarlyRecovery::expectedWindowDurationMinutes(sources.resolvedPlanType);
    const auto window = windowOf(raw.snapshot, duration);
    const bool saysStale = isSaid(raw.snapshot.messages, NoticeKind::quotaIsStale);
    const bool isShown = window && window == windowOf(sources.merged.snapshot, duration) &&
                         raw.quotaCapturedAt == sources.merged.quotaCapturedAt;
    const auto& credits = raw.snapshot.credits;
    return {.accountIdentity = raw.snapshot.accountIdentity,
            .planType = sources.resolvedPlanType,
            .window = window,
            .resetCredits = credits ? credits->resetCredits : std::nullopt,
            .capturedAt = raw.quotaCapturedAt.value_or(raw.snapshot.refreshedAt),
            .now = sources.now,
            .isFresh = raw.status == RuntimeMenuStatus::available && !saysStale && isShown};
}

}  // namespace vantry
