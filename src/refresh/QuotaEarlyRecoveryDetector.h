#pragma once

#include <optional>
#include <string>
#include <variant>

#include "official/QuotaWindow.h"
#include "records/AccountQuota.h"
#include "refresh/QuotaEarlyRecoveryState.h"

namespace vantry {

/// The quota came back before its scheduled reset, and nobody paid for it with a reset credit.
struct QuotaEarlyRecoveryEvent {
    RuntimeQuotaWindowKind windowKind = RuntimeQuotaWindowKind::sevenDay;
    double previousRemainingPercent = 0;
    double recoveredRemainingPercent = 0;
    Date originalResetsAt;
    Date detectedAt;  ///< when the confirming read was taken

    friend bool operator==(const QuotaEarlyRecoveryEvent&,
                           const QuotaEarlyRecoveryEvent&) = default;
};

/// Read the quota once more, so many seconds from now.
struct QuotaEarlyRecoveryConfirmationRequest {
    double after = 0;

    friend bool operator==(const QuotaEarlyRecoveryConfirmationRequest&,
                           const QuotaEarlyRecoveryConfirmationRequest&) = default;
};

/// What an observation leads to: another read, a notification, or nothing.
using QuotaEarlyRecoveryDecision =
    std::variant<QuotaEarlyRecoveryConfirmationRequest, QuotaEarlyRecoveryEvent, std::monostate>;

/// What one read of the quota says.
struct QuotaEarlyRecoveryRead {
    std::optional<std::string> accountIdentity;  ///< a hash; nothing or empty: not known
    std::optional<std::string> planType;
    std::optional<RateWindow> window;          ///< the one that the plan is judged by
    std::optional<std::int64_t> resetCredits;  ///< a negative count is not known
    Date capturedAt;
    Date now;
    bool isFresh = false;  ///< straight from the service, neither stale nor from a cache
};

/// Notices from two reads, and a third that confirms them, that the quota returned to full before
/// its scheduled reset. Tells the user once for every original reset, and is silent in any doubt.
/// Only reads that are known to be of one account are compared.
///
/// A value with its whole memory in `state`: one that was stored and loaded goes on where it was.
/// One thread at a time.
///
///   no baseline   a valid read                      baseline
///   baseline      no jump                           baseline moves
///                 a jump                            pending; the baseline stays
///                 a manual jump, or one told about  baseline moves
///   pending       too early                         stays
///                 confirmed                         notified, baseline moves
///                 not confirmed                     baseline moves
///   either        stale, failed or partial, or of   baseline stays, pending ends
///                 an account that is not known
///   any           an unknown plan, another account  all ends but what was notified
struct QuotaEarlyRecoveryDetector {
    QuotaEarlyRecovery::PersistentState state;

    QuotaEarlyRecoveryDecision observe(const QuotaEarlyRecoveryRead& read);

    /// Forgets every other account but for what was notified. observe() does so too; callers that
    /// learn the account before its quota use this.
    void turnTo(const std::string& accountIdentity);

    /// Seconds until a confirmation may be read, at least 0.1; nothing while none is awaited.
    std::optional<double> remainingConfirmationDelay(Date at) const;

    bool hasPendingConfirmation() const { return state.pending.has_value(); }

  private:
    using Observation = QuotaEarlyRecovery::Observation;

    void discardImplausibleStoredState(Date now);
    QuotaEarlyRecoveryDecision compareWithBaseline(const Observation& observation, Date now);
    QuotaEarlyRecoveryDecision resolvePending(const Observation& observation, Date now);
    QuotaEarlyRecoveryDecision awaitConfirmation(Date now) const;
    QuotaEarlyRecoveryDecision settle(const Observation& observation);
    bool consumeManualResetEvidence(const Observation& observation);
};

}  // namespace vantry
