#pragma once

#include "records/UsageSnapshot.h"

/// What of the account's official history survives a read: lifetime total and days, each by itself.
namespace vantry::QuotaRefreshFallbackPolicy {

/// Fills the gaps of `into`, which is as it was read, from what is shown of the same account.
///
/// Lifetime: a successful read stands, even without a total, and a total that it cleared does not
/// return after a later failure; a failed read keeps the total and marks it stale. Days: a
/// read without them keeps the earlier ones, marked stale if they were asked for. What was not
/// asked for stays as it was, marks included.
void keepOfficialUsage(UsageSnapshot& into, const UsageSnapshot& earlier);

}  // namespace vantry::QuotaRefreshFallbackPolicy
