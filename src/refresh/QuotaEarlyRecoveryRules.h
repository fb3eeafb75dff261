#pragma once

#include "refresh/QuotaEarlyRecoveryState.h"

/// When two reads show an early recovery, whose doing it was, and which stored values are still
/// worth comparing with. Every doubt answers in favour of silence. Times are seconds.
namespace vantry::QuotaEarlyRecovery {

inline constexpr std::int64_t fiveHourWindowDurationMinutes = 300;
inline constexpr std::int64_t weeklyWindowDurationMinutes = 10'080;
inline constexpr double previousRemainingUpperBound = 95.0;   ///< percent
inline constexpr double recoveredRemainingLowerBound = 99.5;  ///< percent
inline constexpr double minimumIncrease = 5.0;                ///< percentage points
inline constexpr double fiveHourNaturalResetGuardInterval = 300;
inline constexpr double weeklyNaturalResetGuardInterval = 600;
inline constexpr double confirmationDelay = 15;
inline constexpr double comparableObservationInterval = 600;
inline constexpr double manualResetEvidenceLifetime = 600;
inline constexpr double storedObservationGraceInterval = 1'800;
/// Two reset times no further apart are one: the service's answers waver.
inline constexpr double unchangedResetInterval = 60;
inline constexpr double futureTolerance = 300;

/// The plan's name without white space around it and in lower case; empty for none.
std::string normalizedPlanType(const std::optional<std::string>& planType);

/// The length of the window that the plan is judged by. Only Plus and Pro have one here.
std::optional<std::int64_t> expectedWindowDurationMinutes(
    const std::optional<std::string>& planType);

/// Whether two values speak of the same plan's window.
template <class First, class Second>
bool haveSameWindow(const First& first, const Second& second) {
    return first.planType == second.planType &&
           first.windowDurationMins == second.windowDurationMins;
}

/// Whether two reset times are the same but for the wavering.
bool isSameReset(Date first, Date second);

/// Whether `now` is far enough before the scheduled reset of the observation for a recovery not to
/// be that reset.
bool isBeforeNaturalReset(const Observation& observation, Date now);

struct Step {
    const Observation& previous;
    const Observation& current;
    Date now;
};

/// Whether the quota came back between the two reads, well before its time.
bool isEarlyRecovery(const Step& step);

/// A count of reset credits that fell between the two reads, however far they are apart.
std::optional<ManualResetEvidence> manualResetEvidence(const Step& step);

/// Whether the evidence explains a jump that the observation shows.
bool explains(const ManualResetEvidence& evidence, const Observation& observation);

/// Whether the user knows already: a notification was about the reset that `current` names, or
/// about the one that `previous` waited for. One about another account's reset does not count.
bool wasAlreadyNotified(const PersistentState& state, const Step& step);

/// Makes `key` the last notification, and keeps of those before it what can still matter.
void rememberNotification(PersistentState& state, const NotificationKey& key, Date now);

/// Adds the notifications of another running program, from `stored`, whose resets are still ahead.
void adoptNotifications(PersistentState& state, const PersistentState& stored, Date now);

/// Whether values could have been read by this program, and recently enough.
bool isPlausibleStoredObservation(const Observation& observation, Date now);
bool isPlausiblePending(const PendingConfirmation& pending, Date now);
bool isPlausibleEvidence(const ManualResetEvidence& evidence, Date now);

}  // namespace vantry::QuotaEarlyRecovery
