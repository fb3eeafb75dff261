#pragma once

#include "records/UsageSnapshot.h"

/// What of the local group of a snapshot survives a read: local usage with its marks, the words of
/// the local read and the missing dependency.
namespace vantry::QuotaRefreshFallbackPolicy {

/// Whether official days are mixed into the usage, so that it belongs to one account.
bool isAccountBound(const LocalUsage& usage);

/// Whether the snapshot comes from a read that asked for the local records.
bool wasLocalRead(const UsageSnapshot& snapshot);

struct LocalFallback {
    const UsageSnapshot& earlier;  ///< what is shown
    bool sameAccount = false;
    bool mayReuse = false;  ///< same statistics day and zone
    Date now;
};

/// Fills the gaps of `into`, which is as it was read.
///
/// Usage that was read stands. A failed read, one with threads but no tokens included, is replaced
/// by the last complete batch, marked stale, with its own capture time. A pass that did not ask for
/// local records leaves the whole group as it was. Usage that may not be kept is removed together
/// with its capture time.
void keepLocalUsage(UsageSnapshot& into, const LocalFallback& fallback);

}  // namespace vantry::QuotaRefreshFallbackPolicy
