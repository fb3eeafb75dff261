#include "refresh/QuotaEarlyRecoveryWatch.h"

#include "refresh/QuotaEarlyRecoveryRules.h"

namespace vantry {

QuotaEarlyRecoveryWatch::QuotaEarlyRecoveryWatch(Services services)
    : loop_(services.loop),
      readQuota_(std::move(services.readQuota)),
      stateStore_(std::move(services.defaults)),
      detector_{.state = stateStore_.load()} {}

void QuotaEarlyRecoveryWatch::observe(const QuotaEarlyRecoverySources& sources) {
    // Another program may have told the user in the meantime.
    QuotaEarlyRecovery::adoptNotifications(detector_.state, stateStore_.load(), sources.now);
    const auto decision = detector_.observe(quotaEarlyRecoveryRead(sources));
    stateStore_.save(detector_.state, sources.now);
    if (const auto* request = std::get_if<QuotaEarlyRecoveryConfirmationRequest>(&decision)) {
        confirmAfter(request->after);
    } else if (const auto* event = std::get_if<QuotaEarlyRecoveryEvent>(&decision)) {
        confirmationTimer_.reset();
        recoveries_.tell(*event);
    } else {
        keepAwaiting();
    }
}

void QuotaEarlyRecoveryWatch::keepAwaiting() {
    if (const auto delay = detector_.remainingConfirmationDelay(loop_.now())) {
        confirmAfter(*delay);
    } else {
        confirmationTimer_.reset();
    }
}

void QuotaEarlyRecoveryWatch::turnTo(const std::string& accountIdentity) {
    detector_.turnTo(accountIdentity);
    if (!detector_.hasPendingConfirmation()) confirmationTimer_.reset();
}

void QuotaEarlyRecoveryWatch::stop() {
    isRunning_ = false;
    confirmationTimer_.reset();
}

void QuotaEarlyRecoveryWatch::confirmAfter(double seconds) {
    if (!isRunning_ || confirmationTimer_) return;
    confirmationTimer_ = loop_.after(seconds, [this] {
        confirmationTimer_.reset();
        readQuota_();
    });
}

}  // namespace vantry
