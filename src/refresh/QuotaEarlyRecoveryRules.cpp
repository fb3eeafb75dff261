#include "refresh/QuotaEarlyRecoveryRules.h"

#include <algorithm>
#include <cmath>

#include "platform/Text.h"

namespace vantry::QuotaEarlyRecovery {

namespace {

// The longest time from a read to the reset it names, and the greatest age of a stored read.
double longestReach(const Observation& observation) {
    return static_cast<double>(observation.windowDurationMins) * 60 +
           storedObservationGraceInterval;
}

/// Every one that is remembered, the last one last.
std::vector<NotificationKey> notificationsOf(const PersistentState& state) {
    auto all = state.earlierNotifications.value_or(std::vector<NotificationKey>());
    if (state.lastNotification) all.push_back(*state.lastNotification);
    return all;
}

void setNotifications(PersistentState& state, std::vector<NotificationKey> all) {
    state.lastNotification.reset();
    state.earlierNotifications.reset();
    if (all.empty()) return;
    state.lastNotification = std::move(all.back());
    all.pop_back();
    if (!all.empty()) state.earlierNotifications = std::move(all);
}

// A reset that has passed, wavering included, is never notified again.
bool hasPassed(const NotificationKey& key, Date now) {
    return key.originalResetsAt + unchangedResetInterval < now;
}

bool hasExpectedWindow(const auto& value) {
    return expectedWindowDurationMinutes(value.planType) == value.windowDurationMins;
}

}  // namespace

std::string normalizedPlanType(const std::optional<std::string>& planType) {
    return planType ? asciiLowercased(trimmed(*planType)) : std::string();
}

std::optional<std::int64_t> expectedWindowDurationMinutes(
    const std::optional<std::string>& planType) {
    const std::string plan = normalizedPlanType(planType);
    if (plan == "plus") return fiveHourWindowDurationMinutes;
    if (plan == "pro") return weeklyWindowDurationMinutes;
    return std::nullopt;
}

bool isSameReset(Date first, Date second) {
    return std::fabs(first - second) <= unchangedResetInterval;
}

bool isBeforeNaturalReset(const Observation& observation, Date now) {
    const double guard = observation.windowDurationMins == fiveHourWindowDurationMinutes
                             ? fiveHourNaturalResetGuardInterval
                             : weeklyNaturalResetGuardInterval;
    return now + guard < observation.resetsAt;
}

bool isEarlyRecovery(const Step& step) {
    const auto& [previous, current, now] = step;
    const double interval = current.capturedAt - previous.capturedAt;
    return interval > 0 && interval <= comparableObservationInterval && previous.resetCredits &&
           current.resetCredits && previous.remainingPercent <= previousRemainingUpperBound &&
           current.remainingPercent >= recoveredRemainingLowerBound &&
           current.remainingPercent - previous.remainingPercent >= minimumIncrease &&
           isBeforeNaturalReset(previous, now);
}

std::optional<ManualResetEvidence> manualResetEvidence(const Step& step) {
    const auto& [previous, current, now] = step;
    if (!haveSameWindow(previous, current) || !previous.resetCredits || !current.resetCredits ||
        *current.resetCredits < 0 || *current.resetCredits >= *previous.resetCredits ||
        !(current.capturedAt > previous.capturedAt)) {
        return std::nullopt;
    }
    return ManualResetEvidence{.planType = current.planType,
                               .windowDurationMins = current.windowDurationMins,
                               .previousResetCredits = *previous.resetCredits,
                               .currentResetCredits = *current.resetCredits,
                               .detectedAt = current.capturedAt};
}

bool explains(const ManualResetEvidence& evidence, const Observation& observation) {
    const double age = observation.capturedAt - evidence.detectedAt;
    return haveSameWindow(evidence, observation) && age >= 0 && age <= manualResetEvidenceLifetime;
}

bool wasAlreadyNotified(const PersistentState& state, const Step& step) {
    const auto tells = [&](const NotificationKey& key, const Observation& observation) {
        return (!key.accountIdentity || key.accountIdentity == state.accountIdentity) &&
               haveSameWindow(key, observation) &&
               isSameReset(key.originalResetsAt, observation.resetsAt);
    };
    return std::ranges::any_of(notificationsOf(state), [&](const NotificationKey& key) {
        return tells(key, step.current) || tells(key, step.previous);
    });
}

void rememberNotification(PersistentState& state, const NotificationKey& key, Date now) {
    auto known = notificationsOf(state);
    std::erase_if(known, [&](const NotificationKey& earlier) { return hasPassed(earlier, now); });
    known.push_back(key);
    setNotifications(state, std::move(known));
}

void adoptNotifications(PersistentState& state, const PersistentState& stored, Date now) {
    auto known = notificationsOf(state);
    std::vector<NotificationKey> others = notificationsOf(stored);
    std::erase_if(others, [&](const NotificationKey& key) {
        return hasPassed(key, now) || std::ranges::find(known, key) != known.end();
    });
    // In front: the last one stays this program's own.
    known.insert(known.begin(), others.begin(), others.end());
    setNotifications(state, std::move(known));
}

bool isPlausibleStoredObservation(const Observation& observation, Date now) {
    const auto& [plan, duration, remaining, credits, resetsAt, capturedAt] = observation;
    return hasExpectedWindow(observation) && remaining >= 0 && remaining <= 100 &&
           (!credits || *credits >= 0) && resetsAt.isFinite() && capturedAt.isFinite() &&
           capturedAt >= now - longestReach(observation) && capturedAt <= now + futureTolerance &&
           resetsAt > now && resetsAt > capturedAt &&
           resetsAt - capturedAt <= longestReach(observation);
}

bool isPlausiblePending(const PendingConfirmation& pending, Date now) {
    constexpr double longestStoredDelay = 60;
    constexpr double confirmationLifetime = 600;
    const auto& [previous, candidate, confirmNotBefore] = pending;
    return isPlausibleStoredObservation(previous, now) &&
           isPlausibleStoredObservation(candidate, now) && haveSameWindow(previous, candidate) &&
           isEarlyRecovery({.previous = previous, .current = candidate, .now = now}) &&
           confirmNotBefore >= candidate.capturedAt &&
           confirmNotBefore <= candidate.capturedAt + longestStoredDelay &&
           now <= confirmNotBefore + confirmationLifetime;
}

bool isPlausibleEvidence(const ManualResetEvidence& evidence, Date now) {
    return hasExpectedWindow(evidence) && evidence.currentResetCredits >= 0 &&
           evidence.currentResetCredits < evidence.previousResetCredits &&
           evidence.detectedAt.isFinite() && evidence.detectedAt <= now + futureTolerance &&
           now - evidence.detectedAt <= manualResetEvidenceLifetime;
}

}  // namespace vantry::QuotaEarlyRecovery
