#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "records/AccountQuota.h"
#include "records/LocalUsage.h"
#include "records/Notice.h"
#include "records/ReaderControlState.h"
#include "records/TaskBoard.h"

namespace vantry {

/// A change of the local group of a snapshot.
struct LocalUsageReplacement {
    LocalUsageReadResult result;
    Date at;  ///< when the change is applied
    Notices localMessages;
    Notices hybridMessages;
};

/// All that is known of one runtime at one moment. Official data, local data and the task board
/// are each fresh, stale or missing by themselves, and each says so with its own capture time.
struct UsageSnapshot {
    Date refreshedAt;  ///< when this value was put together
    std::optional<AccountInfo> account;
    std::optional<std::string> accountIdentity;  ///< a hash; never an address
    std::optional<RateWindow> primary;           ///< the 5-hour slot
    std::optional<RateWindow> secondary;         ///< the 7-day slot
    std::optional<CreditsInfo> credits;
    AccountLimits limits;
    std::optional<std::int64_t> officialLifetimeTokens;
    std::optional<Date> officialLifetimeCapturedAt;
    bool officialLifetimeIsStale = false;
    OfficialUsageReadStatus officialUsageReadStatus = OfficialUsageReadStatus::notAttempted;
    std::optional<std::vector<DailyTokenBucket>> cloudDailyBuckets;  ///< oldest first
    bool cloudDailyUsageAttempted = false;
    std::optional<Date> cloudDailyUsageCapturedAt;
    bool cloudDailyUsageIsStale = false;
    std::optional<LocalUsage> local;
    std::optional<Date> localUsageCapturedAt;
    bool localUsageIsStale = false;
    LocalUsageReadStatus localUsageReadStatus = LocalUsageReadStatus::notAttempted;
    std::optional<TaskBoard> taskBoard;
    Notices messages;  ///< account, then local, then task board, then merge
    Notices localReadMessages;
    Notices hybridReadMessages;
    ReaderControlState readerState;

    /// Before anything was read; made once, at the first use.
    static const UsageSnapshot& empty();

    /// Everything else stays, `refreshedAt` included.
    UsageSnapshot replacingTaskBoard(std::optional<TaskBoard> board) const;

    /// Official figures stay; the messages of the earlier local read make room for the new ones.
    UsageSnapshot replacingLocalUsage(const LocalUsageReplacement& replacement) const;

    /// Binds today's tokens of the local usage to the task board, stale unless the local read was
    /// complete. Figures that the local usage does not know are taken off the board.
    void bindTaskBoardTokens();

    friend bool operator==(const UsageSnapshot&, const UsageSnapshot&) = default;
};

template <>
struct RecordFields<UsageSnapshot> {
    using Snapshot = UsageSnapshot;
    static constexpr std::tuple list{
        field("refreshedAt", &Snapshot::refreshedAt),
        field("account", &Snapshot::account),
        field("accountIdentity", &Snapshot::accountIdentity),
        field("primary", &Snapshot::primary),
        field("secondary", &Snapshot::secondary),
        field("credits", &Snapshot::credits),
        shownField<Snapshot>("otherLimits", [](const Snapshot& s) { return s.limits.otherLimits; }),
        shownField<Snapshot>("rateLimitReachedType",
                             [](const Snapshot& s) { return s.limits.rateLimitReachedType; }),
        shownField<Snapshot>("spendControlReached",
                             [](const Snapshot& s) { return s.limits.spendControlReached; }),
        shownField<Snapshot>("ordinaryUsageAllowed",
                             [](const Snapshot& s) { return s.limits.ordinaryUsageAllowed; }),
        field("officialLifetimeTokens", &Snapshot::officialLifetimeTokens),
        field("officialLifetimeCapturedAt", &Snapshot::officialLifetimeCapturedAt),
        field("officialLifetimeIsStale", &Snapshot::officialLifetimeIsStale),
        field("officialUsageReadStatus", &Snapshot::officialUsageReadStatus),
        field("cloudDailyBuckets", &Snapshot::cloudDailyBuckets),
        field("cloudDailyUsageAttempted", &Snapshot::cloudDailyUsageAttempted),
        field("cloudDailyUsageCapturedAt", &Snapshot::cloudDailyUsageCapturedAt),
        field("cloudDailyUsageIsStale", &Snapshot::cloudDailyUsageIsStale),
        field("local", &Snapshot::local),
        field("localUsageCapturedAt", &Snapshot::localUsageCapturedAt),
        field("localUsageIsStale", &Snapshot::localUsageIsStale),
        field("localUsageReadStatus", &Snapshot::localUsageReadStatus),
        field("taskBoard", &Snapshot::taskBoard),
        field("readerState", &Snapshot::readerState)};
};

}  // namespace vantry
