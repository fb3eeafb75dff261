#include "refresh/QuotaEarlyRecoveryReading.h"
#include "refresh/QuotaEarlyRecoveryRules.h"
#include "refresh/QuotaFallback.h"
#include "refresh/UsageStore.h"

// The reads that a read leads to: retries of one that brought no quota, one when a window begins
// anew or the service can be had again, and the confirmation of one that shows an early recovery.
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

void UsageStore::awaitQuotaReset() {
    constexpr double grace = 1;  // seconds; the service's clock and ours are not the same
    std::optional<Date> next;
    if (codex() != nullptr) {
        const UsageSnapshot& shown = codex()->snapshot;
        for (const auto& window : {shown.primary, shown.secondary}) {
            const auto resetsAt = window ? window->resetsAt : std::nullopt;
            if (resetsAt && *resetsAt > loop_.now() && !(next && *next <= *resetsAt)) {
                next = resetsAt;
            }
        }
    }
    if (!hasStarted_ || next == quotaResetsAt_) return;
    quotaResetsAt_ = next;
    quotaResetTimer_.reset();
    if (!next) return;
    quotaResetTimer_ = loop_.at(*next + grace, [this] {
        quotaResetsAt_.reset();
        quotaResetTimer_.reset();
        refreshQuota({.queueIfBusy = true});
    });
}

void UsageStore::machineDidWake() {
    soonAgainTimer_.reset();
    readSoon();
}

void UsageStore::networkDidChange() {
    isOtherNetwork_ = true;
    readOverOtherNetwork();
}

// Also at the end of a read that was under way, and of the time in which nothing is read soon.
void UsageStore::readOverOtherNetwork() {
    if (!isOtherNetwork_ || codex() == nullptr || state_.isRefreshing) return;
    const UsageSnapshot& shown = codex()->snapshot;
    const bool hasFailed = shown.readerState.appServer == AppServerReadState::failed ||
                           shown.officialUsageReadStatus == OfficialUsageReadStatus::failed;
    if (hasFailed) readSoon();
}

void UsageStore::readSoon() {
    if (!hasStarted_ || soonTimer_ || soonAgainTimer_) return;
    soonTimer_ = loop_.after(soon, [this] {
        soonTimer_.reset();
        soonAgainTimer_ = loop_.after(soonAgain, [this] {
            soonAgainTimer_.reset();
            readOverOtherNetwork();
        });
        refresh({.queueIfBusy = true, .reuseUnchangedSources = true});
    });
}

void UsageStore::processQuotaEarlyRecovery(const QuotaObservation& observation) {
    // Another program may have told the user in the meantime.
    QuotaEarlyRecovery::adoptNotifications(quotaEarlyRecoveryDetector_.state,
                                           quotaEarlyRecoveryStateStore_.load(), observation.now);
    const auto decision = quotaEarlyRecoveryDetector_.observe(
        quotaEarlyRecoveryRead({.merged = observation.merged,
                                .raw = observation.raw,
                                .resolvedPlanType = observation.resolvedPlanType,
                                .now = observation.now}));
    quotaEarlyRecoveryStateStore_.save(quotaEarlyRecoveryDetector_.state, observation.now);
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
