#include "refresh/QuotaEarlyRecoveryDetector.h"

#include <algorithm>

#include "refresh/QuotaEarlyRecoveryRules.h"

namespace vantry {

using namespace QuotaEarlyRecovery;
using Decision = QuotaEarlyRecoveryDecision;

namespace {

constexpr std::monostate none;

/// A fresh read with everything that a comparison needs; nothing otherwise. The reset credits may
/// be missing, so that the percentage still moves the baseline.
std::optional<Observation> observationOf(const QuotaEarlyRecoveryRead& read) {
    const auto duration = expectedWindowDurationMinutes(read.planType);
    if (!read.isFresh || !duration || !read.window || !read.window->resetsAt ||
        read.window->windowDurationMins != duration) {
        return std::nullopt;
    }
    // Not the clamped value of the window: a percentage out of range makes the read void.
    const double remaining = 100.0 - read.window->usedPercent;
    const Date resetsAt = *read.window->resetsAt;
    const bool isValid = remaining >= 0 && remaining <= 100 && resetsAt.isFinite() &&
                         read.capturedAt.isFinite() &&
                         read.capturedAt <= read.now + futureTolerance && resetsAt > read.now &&
                         resetsAt > read.capturedAt;
    if (!isValid) return std::nullopt;
    const bool knowsCredits = read.resetCredits && *read.resetCredits >= 0;
    return Observation{.planType = normalizedPlanType(read.planType),
                       .windowDurationMins = *duration,
                       .remainingPercent = remaining,
                       .resetCredits = knowsCredits ? read.resetCredits : std::nullopt,
                       .resetsAt = resetsAt,
                       .capturedAt = read.capturedAt};
}

}  // namespace

Decision QuotaEarlyRecoveryDetector::observe(const QuotaEarlyRecoveryRead& read) {
    discardImplausibleStoredState(read.now);
    if (!read.accountIdentity || read.accountIdentity->empty()) {
        state.pending.reset();
        return none;
    }
    turnTo(*read.accountIdentity);
    if (!expectedWindowDurationMinutes(read.planType)) {
        state.baseline.reset();
        state.pending.reset();
        state.manualResetEvidence.reset();
        return none;
    }
    const auto observation = observationOf(read);
    if (!observation) {
        state.pending.reset();
        return none;
    }
    auto& evidence = state.manualResetEvidence;
    if (evidence && !haveSameWindow(*evidence, *observation)) evidence.reset();
    return state.pending ? resolvePending(*observation, read.now)
                         : compareWithBaseline(*observation, read.now);
}

void QuotaEarlyRecoveryDetector::turnTo(const std::string& accountIdentity) {
    if (state.accountIdentity == accountIdentity) return;
    state.accountIdentity = accountIdentity;
    state.baseline.reset();
    state.pending.reset();
    state.manualResetEvidence.reset();
}

std::optional<double> QuotaEarlyRecoveryDetector::remainingConfirmationDelay(Date at) const {
    constexpr double shortestDelay = 0.1;
    if (!state.pending) return std::nullopt;
    return std::max(shortestDelay, state.pending->confirmNotBefore - at);
}

void QuotaEarlyRecoveryDetector::discardImplausibleStoredState(Date now) {
    if (state.baseline && !isPlausibleStoredObservation(*state.baseline, now)) {
        state.baseline.reset();
        state.pending.reset();
    }
    if (state.pending && !isPlausiblePending(*state.pending, now)) state.pending.reset();
    auto& evidence = state.manualResetEvidence;
    if (evidence && !isPlausibleEvidence(*evidence, now)) evidence.reset();
}

Decision QuotaEarlyRecoveryDetector::compareWithBaseline(const Observation& observation, Date now) {
    if (!state.baseline) return settle(observation);
    const Observation previous = *state.baseline;
    if (observation.capturedAt <= previous.capturedAt) return none;
    if (!haveSameWindow(previous, observation)) return settle(observation);
    const Step step{.previous = previous, .current = observation, .now = now};
    // A credit that was spent counts however long ago, and with or without a jump.
    if (auto evidence = manualResetEvidence(step)) state.manualResetEvidence = std::move(evidence);
    if (!isEarlyRecovery(step) || consumeManualResetEvidence(observation) ||
        wasAlreadyNotified(state, step)) {
        return settle(observation);
    }
    state.pending =
        PendingConfirmation{.previous = previous,
                            .candidate = observation,
                            .confirmNotBefore = observation.capturedAt + confirmationDelay};
    return QuotaEarlyRecoveryConfirmationRequest{.after = confirmationDelay};
}

Decision QuotaEarlyRecoveryDetector::resolvePending(const Observation& observation, Date now) {
    const auto [previous, candidate, confirmNotBefore] = *state.pending;
    // A late delivery of an older sample loses nothing.
    if (observation.capturedAt <= candidate.capturedAt) return awaitConfirmation(now);

    // The count of credits may fall later than the quota rises.
    const Step step{.previous = previous, .current = observation, .now = now};
    auto evidence = manualResetEvidence(step);
    if (!evidence) {
        evidence = manualResetEvidence({.previous = candidate, .current = observation, .now = now});
    }
    if (evidence) state.manualResetEvidence = std::move(evidence);

    const bool holds = haveSameWindow(candidate, observation) &&
                       observation.remainingPercent >= recoveredRemainingLowerBound &&
                       isSameReset(candidate.resetsAt, observation.resetsAt);
    if (!holds || consumeManualResetEvidence(observation)) return settle(observation);

    // That the answer arrives late enough does not do: the sample must have been taken late enough.
    if (observation.capturedAt < confirmNotBefore || now < confirmNotBefore) {
        return awaitConfirmation(now);
    }
    const bool knowsCredits =
        previous.resetCredits && candidate.resetCredits && observation.resetCredits;
    if (!knowsCredits || !isBeforeNaturalReset(previous, now) || wasAlreadyNotified(state, step)) {
        return settle(observation);
    }

    settle(observation);
    rememberNotification(state,
                         {.planType = observation.planType,
                          .windowDurationMins = observation.windowDurationMins,
                          .originalResetsAt = previous.resetsAt,
                          .accountIdentity = state.accountIdentity},
                         now);
    return QuotaEarlyRecoveryEvent{
        .windowKind = observation.windowDurationMins == fiveHourWindowDurationMinutes
                          ? RuntimeQuotaWindowKind::fiveHour
                          : RuntimeQuotaWindowKind::sevenDay,
        .previousRemainingPercent = previous.remainingPercent,
        .recoveredRemainingPercent = observation.remainingPercent,
        .originalResetsAt = previous.resetsAt,
        .detectedAt = observation.capturedAt};
}

Decision QuotaEarlyRecoveryDetector::awaitConfirmation(Date now) const {
    return QuotaEarlyRecoveryConfirmationRequest{
        .after = remainingConfirmationDelay(now).value_or(confirmationDelay)};
}

Decision QuotaEarlyRecoveryDetector::settle(const Observation& observation) {
    state.pending.reset();
    state.baseline = observation;
    return none;
}

/// Evidence explains one jump, and then it is gone.
bool QuotaEarlyRecoveryDetector::consumeManualResetEvidence(const Observation& observation) {
    auto& evidence = state.manualResetEvidence;
    if (!evidence || !explains(*evidence, observation)) return false;
    evidence.reset();
    return true;
}

}  // namespace vantry
