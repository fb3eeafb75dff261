#pragma once

#include "records/RuntimeUsageSnapshot.h"
#include "refresh/QuotaFallback.h"

/// What of the last good snapshot survives a read that failed or was partial.
///
/// Every read passes through merge() before it is shown. No source replaces or outlives another:
/// quota, official history, local usage and task board each keep their own capture time, their own
/// stale mark and their own notices.
namespace vantry::QuotaRefreshFallbackPolicy {

struct Merge {
    RuntimeUsageSnapshot incoming;                   ///< as it was read
    const RuntimeUsageSnapshot* previous = nullptr;  ///< what is shown; null before the first read
    /// The local usage shown is of the statistics day and zone that `incoming` was read for.
    bool mayReusePreviousLocal = false;
    Date now = Date::now();
};

/// What is to be shown after a read. Cannot fail. Figures bound to an account are taken over only
/// if both sides name the same account; an unknown one inherits nothing. A capture time is never
/// renewed. Without a previous snapshot the read stands as it is. Any thread.
RuntimeUsageSnapshot merge(Merge sides);

/// Whether the notices tell of a local read that failed. For diagnosis only: what is reused and
/// what is tried again rests on LocalUsageReadStatus and ReaderControlState.
bool hasLocalReadFailure(const Notices& messages);

}  // namespace vantry::QuotaRefreshFallbackPolicy
