#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/RecordFields.h"

/// What the detector of early recoveries knows between two reads, and across a restart.
namespace vantry::QuotaEarlyRecovery {

/// One fresh and complete read of the window that the plan is judged by.
struct Observation {
    std::string planType;  ///< trimmed and in lower case
    std::int64_t windowDurationMins = 0;
    double remainingPercent = 0;               ///< 0...100
    std::optional<std::int64_t> resetCredits;  ///< not negative; absent: not known
    Date resetsAt;
    Date capturedAt;

    friend bool operator==(const Observation&, const Observation&) = default;
};

/// A jump that waits for a second read to confirm it.
struct PendingConfirmation {
    Observation previous;   ///< before the jump
    Observation candidate;  ///< after it
    Date confirmNotBefore;

    friend bool operator==(const PendingConfirmation&, const PendingConfirmation&) = default;
};

/// The scheduled reset that a user was told about.
struct NotificationKey {
    std::string planType;
    std::int64_t windowDurationMins = 0;
    Date originalResetsAt;
    /// Whose reset it was; absent in what earlier versions stored, and may then be anybody's.
    std::optional<std::string> accountIdentity;

    friend bool operator==(const NotificationKey&, const NotificationKey&) = default;
};

/// Somebody spent a reset credit: the next jump is theirs.
struct ManualResetEvidence {
    std::string planType;
    std::int64_t windowDurationMins = 0;
    std::int64_t previousResetCredits = 0;
    std::int64_t currentResetCredits = 0;
    Date detectedAt;

    friend bool operator==(const ManualResetEvidence&, const ManualResetEvidence&) = default;
};

struct PersistentState {
    /// The account, as a hash, that baseline, pending and evidence are of; absent in what earlier
    /// versions stored, which is compared with nothing.
    std::optional<std::string> accountIdentity;
    std::optional<Observation> baseline;
    std::optional<PendingConfirmation> pending;
    std::optional<NotificationKey> lastNotification;  ///< of any account
    std::optional<ManualResetEvidence> manualResetEvidence;
    /// Keys before the last one whose resets still lie ahead. A service that answers with an older
    /// window again, or a plan or an account that is switched back, could otherwise tell the user
    /// twice. Absent unless there are any.
    std::optional<std::vector<NotificationKey>> earlierNotifications;

    friend bool operator==(const PersistentState&, const PersistentState&) = default;
};

}  // namespace vantry::QuotaEarlyRecovery

namespace vantry {

template <>
struct RecordFields<QuotaEarlyRecovery::Observation> {
    using Record = QuotaEarlyRecovery::Observation;
    static constexpr std::tuple list{field("planType", &Record::planType),
                                     field("windowDurationMins", &Record::windowDurationMins),
                                     field("remainingPercent", &Record::remainingPercent),
                                     field("resetCredits", &Record::resetCredits),
                                     field("resetsAt", &Record::resetsAt),
                                     field("capturedAt", &Record::capturedAt)};
};

template <>
struct RecordFields<QuotaEarlyRecovery::PendingConfirmation> {
    using Record = QuotaEarlyRecovery::PendingConfirmation;
    static constexpr std::tuple list{field("previous", &Record::previous),
                                     field("candidate", &Record::candidate),
                                     field("confirmNotBefore", &Record::confirmNotBefore)};
};

template <>
struct RecordFields<QuotaEarlyRecovery::NotificationKey> {
    using Record = QuotaEarlyRecovery::NotificationKey;
    static constexpr std::tuple list{field("planType", &Record::planType),
                                     field("windowDurationMins", &Record::windowDurationMins),
                                     field("originalResetsAt", &Record::originalResetsAt),
                                     field("accountIdentity", &Record::accountIdentity)};
};

template <>
struct RecordFields<QuotaEarlyRecovery::ManualResetEvidence> {
    using Record = QuotaEarlyRecovery::ManualResetEvidence;
    static constexpr std::tuple list{field("planType", &Record::planType),
                                     field("windowDurationMins", &Record::windowDurationMins),
                                     field("previousResetCredits", &Record::previousResetCredits),
                                     field("currentResetCredits", &Record::currentResetCredits),
                                     field("detectedAt", &Record::detectedAt)};
};

template <>
struct RecordFields<QuotaEarlyRecovery::PersistentState> {
    using Record = QuotaEarlyRecovery::PersistentState;
    static constexpr std::tuple list{field("accountIdentity", &Record::accountIdentity),
                                     field("baseline", &Record::baseline),
                                     field("pending", &Record::pending),
                                     field("lastNotification", &Record::lastNotification),
                                     field("manualResetEvidence", &Record::manualResetEvidence),
                                     field("earlierNotifications", &Record::earlierNotifications)};
};

}  // namespace vantry
