#include "refresh/QuotaEarlyRecoveryReading.h"
#include "refresh/QuotaFallback.h"
#include "refresh/UsageStore.h"

// The quota reads that a quota read leads to: retries of one that brought nothing, and the
// confirmation of one that shows an early recovery.
namespace vantry {

void UsageStore::scheduleQuotaRetryIfNeeded() {
    if (!hasStarted_) return;
    quotaRetryTimer_.reset();
    if (const auto delay = quotaRetryState_.nextDelay(codex(), loop_.now())) {
        quotaRetryTimer_ = loop_.after(*delay, [this] { retryQuota(); });
    }
}

void UsageStore::retryQuota() {
    quotaRetryTimer_.reset();
    refreshQuota({.queueIfBusy = true});
}

void UsageStore::processQuotaEarlyRecovery(const QuotaObservation& observation) {
    const auto decision = quotaEarlyRecoveryDetector_.observe(
        quotaEarlyRecoveryRead({.merged = observation.merged,
                                .raw = observation.raw,
                                .resolvedPlanType = observation.resolvedPlanType,
                                .staleMessage = QuotaRefreshFallbackPolicy::staleMessage,
                                .now = observation.now}));
    quotaEarlyRecoveryStateStore_.save(quotaEarlyRecoveryDetector_.state);
    if (const auto* request = std::get_if<QuotaEarlyRecoveryConfirmationRequest>(&decision)) {
        scheduleQuotaEarlyRecoveryConfirmation(request->after);
    } else if (const auto* event = std::get_if<QuotaEarlyRecoveryEvent>(&decision)) {
        quotaEarlyRecoveryConfirmationTimer_.reset();
        quotaEarlyRecoveries_.tell(*event);
    } else {
        maintainQuotaEarlyRecoveryConfirmationTimer(observation.now);
    }
}

void UsageStore::scheduleQuotaEarlyRecoveryConfirmation(double after) {
    if (!hasStarted_ || quotaEarlyRecoveryConfirmationTimer_) return;
    quotaEarlyRecoveryConfirmationTimer_ =
        loop_.after(after, [this] { confirmQuotaEarlyRecovery(); });
}

void UsageStore::maintainQuotaEarlyRecoveryConfirmationTimer(Date now) {
    if (const auto delay = quotaEarlyRecoveryDetector_.remainingConfirmationDelay(now)) {
        scheduleQuotaEarlyRecoveryConfirmation(*delay);
    } else {
        quotaEarlyRecoveryConfirmationTimer_.reset();
    }
}

void UsageStore::confirmQuotaEarlyRecovery() {
    quotaEarlyRecoveryConfirmationTimer_.reset();
    refreshQuota({.queueIfBusy = true});
}

}  // namespace vantry
