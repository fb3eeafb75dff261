#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "records/AccountQuota.h"
#include "records/DailyUsage.h"
#include "records/Notice.h"
#include "records/ReadStatus.h"

namespace vantry {

/// What one session with the account service yielded.
struct AppServerSnapshot {
    AppServerReadState readState = AppServerReadState::notAttempted;
    std::optional<AccountInfo> account;
    /// Present only when the same account stood on both sides of the batch, or is known to be
    /// still signed in.
    std::optional<std::string> accountIdentity;
    bool metTwoAccounts = false;  ///< the account changed while it was read
    std::optional<RateWindow> primary;
    std::optional<RateWindow> secondary;
    std::optional<CreditsInfo> credits;
    AccountLimits limits;
    std::optional<std::int64_t> officialLifetimeTokens;
    std::optional<Date> officialLifetimeCapturedAt;
    bool officialLifetimeIsStale = false;
    OfficialUsageReadStatus officialUsageReadStatus = OfficialUsageReadStatus::notAttempted;
    std::optional<std::vector<DailyTokenBucket>> cloudDailyBuckets;
    std::optional<Date> cloudDailyUsageCapturedAt;
    bool cloudDailyUsageIsStale = false;
    bool cloudDailyUsageAttempted = false;  ///< the usage request was sent

    friend bool operator==(const AppServerSnapshot&, const AppServerSnapshot&) = default;
};

/// A session's result with what is to be said of it, in the order it came up.
struct AppServerRead {
    AppServerSnapshot snapshot;
    Notices messages;
};

}  // namespace vantry
